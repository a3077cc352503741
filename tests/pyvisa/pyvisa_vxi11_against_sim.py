#!/usr/bin/python3
"""An independent VXI-11 client (Debian's pyvisa-py) talks to tavrel-sim's portmapper and VXI-11 server:
the identity, the learn string read as a block and written back, and a waveform block."""
import subprocess
import sys

import pyvisa
from pyvisa_py.protocols import rpc


def start_simulator(binary):
    sim = subprocess.Popen([binary, "--quiet"], stdout=subprocess.PIPE, text=True)
    endpoints = {}
    for line in sim.stdout:
        line = line.strip()
        if line == "ready":
            return sim, endpoints
        fields = line.split()
        if len(fields) == 4:
            endpoints[(fields[0], fields[2])] = fields[3]
    sim.kill()
    raise SystemExit("tavrel-sim ended before it was ready")


def main():
    sim, endpoints = start_simulator(sys.argv[1])
    # pyvisa-py has no setting for the portmapper's port: its module constant is the one place.
    rpc.PMAP_PORT = int(endpoints[("portmapper", "tcp")].split(":")[1])
    checks = 0
    failures = []
    try:
        rm = pyvisa.ResourceManager("@py")
        scope = rm.open_resource(endpoints[("GPIB0::7::INSTR", "vxi11")], timeout=5000)
        checks += 1
        idn = scope.query("*IDN?").strip()
        if idn != "CORVANE TECHNOLOGIES,TV100A,CT41000107,A.01.02":
            failures.append(f"identity: {idn!r}")

        checks += 1
        block = scope.query_binary_values(":SYSTem:SETup?", datatype="B", container=bytes)
        # The block goes back unchanged and the instrument accepts it: the error queue stays empty.
        scope.write_binary_values(":SYSTem:SETup ", block, datatype="B")
        error = scope.query(":SYSTem:ERRor?").strip()
        if len(block) < 16 or b"\n" not in block or not error.startswith("0"):
            failures.append(f"learn string of {len(block)} bytes restored with {error!r}")

        checks += 1
        scope.write(":WAVeform:SOURce CHANnel1;:WAVeform:FORMat BYTE;:WAVeform:POINts 1000")
        scope.write(":DIGitize CHANnel1")
        samples = scope.query_binary_values(":WAVeform:DATA?", datatype="B", container=bytes)
        if len(samples) != 1000:
            failures.append(f"waveform of {len(samples)} points")
        scope.close()
        rm.close()
    finally:
        sim.terminate()
        sim.wait(timeout=10)
    for failure in failures:
        print(f"FAIL {failure}")
    print(f"{checks - len(failures)} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
