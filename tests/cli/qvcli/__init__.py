"""What the tests of the built programs share: running them, trace records, and models of what they must print."""
