"""What the Python suites share: the programs under control, records and frames, the bus, and what the programs must print and send."""
