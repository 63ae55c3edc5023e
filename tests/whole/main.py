"""Runs the trials named, or all; see tests/machine."""
import argparse
import os
import sys
import time
import traceback

from cable import Silence
from machine import Fault, Machine
from served import serve
from trials import TRIALS, trial


class House:
    """Where everything is."""

    def __init__(self, top):
        self.folder = f"{top}/build/machine"
        self.disk = f"{self.folder}/served.qcow2"
        self.page = f"{top}/docs/operation.md"
        self.machine = None

    def served(self):
        """A machine that serves /dev/ttyUSB0 as soon as its adapter is plugged in."""
        if not os.path.exists(self.disk):
            serve(self.folder, self.disk, self.page)
        self.machine = Machine(self.folder, self.disk, load="served")
        return self.machine


@trial()
def operation(house, count):
    """The commands of docs/operation.md, typed as they stand there, lead to a served line."""
    start = time.monotonic()
    said = serve(house.folder, house.disk, house.page).split("\n")[-1]
    return f"from bare Debian to \"{said}\" in {time.monotonic() - start:.0f} s"


def main():
    names = sorted(TRIALS, key=lambda name: name != "operation")
    parser = argparse.ArgumentParser(prog="tests/machine", description="; ".join(
        f"{name}: {TRIALS[name][0].__doc__.strip()}" for name in names))
    parser.add_argument("trial", nargs="*", choices=[[], *names])
    parser.add_argument("--count", type=int, help="how often, instead of what the trial says")
    wanted = parser.parse_args()
    house = House(os.path.realpath(f"{os.path.dirname(__file__)}/../.."))
    failed = 0
    for name in wanted.trial or names:
        function, count = TRIALS[name]
        start = time.monotonic()
        try:
            verdict, said = "held", function(house, wanted.count or count)
        except (Fault, Silence) as fault:
            verdict, said, failed = "FAULT", str(fault), failed + 1
            traceback.print_exc(file=open(f"{house.folder}/machine.log", "a"))
        finally:
            if house.machine:
                house.machine.close()
                house.machine = None
        print(f"{verdict:5} {name:10} {said}  [{time.monotonic() - start:.0f} s]", flush=True)
    return 1 if failed else 0


sys.exit(main())
