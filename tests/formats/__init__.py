"""Builders and readers of every file format, written from their tables and independent of the program's own code."""
