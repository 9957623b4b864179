// The shared library is assembled from its component archives; this file gives it a source.
