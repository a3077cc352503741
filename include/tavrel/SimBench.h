#pragma once

// The simulated bench (Tavrel::Sim): linked in, TAVREL_IO=sim and sim:BENCH.json reach it.
#include "sim/SimBench.h"
#include "sim/iobackend/SimBackend.h"
#include "tavrel/IO.h"
