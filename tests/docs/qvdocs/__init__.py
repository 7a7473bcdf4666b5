"""Helpers of the tests of manual pages and completions."""
