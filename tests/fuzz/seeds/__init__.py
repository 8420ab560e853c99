"""The seeds of the fuzz targets, a function for each target, made with the builders of the end-to-end tests."""

Seeds = dict[str, bytes]
"""The name of each seed, and its bytes.

One whose name begins with "whole" is also replayed at every shorter length and with each bit flipped.
"""
