#!/usr/bin/python3
"""The comparison for the query-rate benchmark: Debian's pyvisa-py asks tavrel-sim "*IDN?" and
":MEASure:FREQuency?" over a socket or a serial terminal, the way its documentation shows (query()).
Prints one JSON object: the median queries a second of each."""
import argparse
import json
import statistics
import time

import pyvisa
from pyvisa import constants

QUERIES = ["*IDN?", ":MEASure:FREQuency?"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--resource", required=True)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--rounds", type=int, default=5)
    args = parser.parse_args()

    rm = pyvisa.ResourceManager("@py")
    options = {"read_termination": "\n", "write_termination": "\n", "timeout": 10000}
    if args.resource.startswith("ASRL"):
        # The simulated COM1's settings: 9600 baud, 8N1, XON/XOFF.
        options.update(baud_rate=9600, data_bits=8, parity=constants.Parity.none,
                       stop_bits=constants.StopBits.one, flow_control=constants.ControlFlow.xon_xoff)
    scope = rm.open_resource(args.resource, **options)
    rates = {}
    for query in QUERIES:
        scope.query(query)
        seconds = []
        for _ in range(args.rounds):
            start = time.perf_counter()
            for _ in range(args.count):
                if not scope.query(query):
                    raise SystemExit(f"an empty reply to {query}")
            seconds.append(time.perf_counter() - start)
        rates[query] = args.count / statistics.median(seconds)
    scope.close()
    rm.close()
    print(json.dumps(rates))


if __name__ == "__main__":
    main()
