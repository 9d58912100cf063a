"""Compares the tree with the last release; __main__.py is the command."""
