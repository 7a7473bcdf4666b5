"""The phases of a soak on SocketCAN."""

from bed import Bed  # noqa: F401
import impaired
import stopped

PHASES = impaired.PHASES + stopped.PHASES
