"""Renders floors with dirt on them. Everything comes from a seeded generator and from no picture.

Pictures are float32 [height, width, 3], R, G, B in 0..1, until the camera writes bytes; lengths are
pixels of the frame. A `size` is (width, height), as in OpenCV.
"""
