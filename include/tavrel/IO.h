#pragma once

// The I/O library (Tavrel::IO): the I/O manager, sessions and the backend registry.
#include "iolib/IOBackendRegistry.h"
#include "iolib/IOError.h"
#include "iolib/IOManager.h"
#include "iolib/IOSession.h"
#include "tavrel/Version.h"
