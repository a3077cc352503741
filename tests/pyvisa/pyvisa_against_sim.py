#!/usr/bin/python3
"""An independent SCPI client (Debian's pyvisa-py) talks to tavrel-sim over a raw TCP socket:
it must read the identity and the learn string as a binary block exactly as the simulator sends it."""
import subprocess
import sys

import pyvisa


def start_simulator(binary):
    sim = subprocess.Popen([binary, "--quiet"], stdout=subprocess.PIPE, text=True)
    endpoints = {}
    for line in sim.stdout:
        line = line.strip()
        if line == "ready":
            return sim, endpoints
        fields = line.split()
        if len(fields) == 4 and fields[2] == "tcp":
            endpoints[fields[0]] = fields[3]
    sim.kill()
    raise SystemExit("tavrel-sim ended before it was ready")


def main():
    sim, endpoints = start_simulator(sys.argv[1])
    failures = 0
    try:
        host, port = endpoints["GPIB0::7::INSTR"].split(":")
        rm = pyvisa.ResourceManager("@py")
        scope = rm.open_resource(f"TCPIP0::{host}::{port}::SOCKET", read_termination="\n",
                                 write_termination="\n", timeout=5000)
        idn = scope.query("*IDN?").strip()
        fields = idn.split(",")
        if len(fields) != 4 or fields[0] != "CORVANE TECHNOLOGIES" or fields[1] != "TV100A":
            print(f"FAIL identity: {idn!r}")
            failures += 1
        block = scope.query_binary_values(":SYSTem:SETup?", datatype="B", container=bytes,
                                          expect_termination=True)
        if len(block) < 16:
            print(f"FAIL learn string of {len(block)} bytes")
            failures += 1
        # The block goes back unchanged and the instrument accepts it: the error queue stays empty.
        scope.write_binary_values(":SYSTem:SETup ", block, datatype="B")
        error = scope.query(":SYSTem:ERRor?").strip()
        if not error.startswith("0"):
            print(f"FAIL restoring the learn string: {error}")
            failures += 1
        scope.close()
        rm.close()
    finally:
        sim.terminate()
        sim.wait(timeout=10)
    print(f"{3 - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
