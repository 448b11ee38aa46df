"""Replays of robots' logs: ``python -m dirty_seg.fleet``, on Ray Data.

Frames of pictures, videos and logs go through detectors on any number of workers; each frame ends
as one row of a Parquet dataset. The way of the data: ``sources`` (frames), ``units`` (pieces of
work), ``worker`` (a unit's rows), ``dataset`` (what is published), ``run`` (the driver).
"""
