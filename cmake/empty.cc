// The shared library is assembled from the subsystem archives.
