#!/usr/bin/python3
"""The comparison for WaveformBench: Debian's pyvisa-py reads channel 1's waveform from tavrel-sim the
way its documentation shows (query_binary_values into a numpy array, one chunk covering the block) and
scales it with numpy, the same steps as our GetWaveformData. Prints one JSON object of timings."""
import argparse
import json
import statistics
import time

import numpy
import pyvisa

SELECT = ":WAVeform:SOURce CHANnel1;FORMat WORD;BYTeorder LSBFirst;POINts MAXimum"


def transfer(scope, chunk_size):
    scope.write(SELECT)
    fields = [float(f) for f in scope.query(":WAVeform:PREamble?").split(",")]
    _, _, points, _, xinc, xorig, xref, yinc, yorig, yref = fields
    codes = scope.query_binary_values(":WAVeform:DATA?", datatype="H", is_big_endian=False,
                                      container=numpy.array, chunk_size=chunk_size)
    times = (numpy.arange(len(codes), dtype=numpy.float64) - xref) * xinc + xorig
    volts = (codes.astype(numpy.float64) - yref) * yinc + yorig
    if len(volts) != int(points):
        raise SystemExit(f"pyvisa-py read {len(volts)} of {int(points)} points")
    return times, volts


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, help="tavrel-sim's raw socket of the scope")
    parser.add_argument("--resource", help="any other address of the scope (VXI-11)")
    parser.add_argument("--portmapper", type=int, help="the portmapper's port for a VXI-11 address")
    parser.add_argument("--reps", type=int, default=10)
    parser.add_argument("--points", type=int, default=1000000)
    args = parser.parse_args()

    if args.portmapper:
        # pyvisa-py has no setting for the portmapper's port: its module constant is the one place.
        from pyvisa_py.protocols import rpc
        rpc.PMAP_PORT = args.portmapper
    resource = args.resource or f"TCPIP0::127.0.0.1::{args.port}::SOCKET"
    rm = pyvisa.ResourceManager("@py")
    scope = rm.open_resource(resource, read_termination="\n", write_termination="\n", timeout=20000)
    # The block: "#8", eight digits, two bytes a point, the line end.
    chunk_size = 2 * args.points + 16
    seconds = []
    volts = None
    for _ in range(args.reps):
        start = time.perf_counter()
        _, volts = transfer(scope, chunk_size)
        seconds.append(time.perf_counter() - start)
    scope.close()
    rm.close()
    print(json.dumps({
        "best_s": min(seconds),
        "median_s": statistics.median(seconds),
        "points": len(volts),
        "vpp": float(volts.max() - volts.min()),
        "pyvisa_py": pyvisa.__version__,
    }))


if __name__ == "__main__":
    main()
