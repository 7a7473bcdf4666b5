import pytest

from choice import has_can
from qv.pair import Pair


@pytest.fixture(scope="module")
def bus():
    """vxcan0 and vxcan1, where there is a bus."""
    pair = Pair() if has_can() else None
    yield pair
    if pair:
        pair.delete()
