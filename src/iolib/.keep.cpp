// Keeps the I/O library target valid while it has no sources of its own.
