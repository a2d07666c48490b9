"""Measurements against peers, as ratios in one run: `make bench`, or `make bench BENCH=build` for one part."""
