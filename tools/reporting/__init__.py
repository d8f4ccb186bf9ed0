"""Turns statistics and issues of a Wi-Fi into one page that a person can read."""
