"""What the bus tests and the demo share: frames, the interface pair, a raw peer, and the programs under control."""
