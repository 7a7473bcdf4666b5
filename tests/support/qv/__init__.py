"""Shared by the Python suites: programs under control, records and frames, the bus, and what the programs must print and send."""
