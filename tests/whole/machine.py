"""An emulated PC with a Debian of its own, a root shell and serial lines that lead here."""
import json
import os
import secrets
import shlex
import socket
import subprocess
import time

from cable import Cable


class Fault(Exception):
    """What was to hold did not."""


class Machine:
    """Runs on the disk image; `load` names a snapshot of a running machine to go on from.

    line     the built-in serial port, ttyS0
    adapter  a USB adapter, to be plugged in; "second" is another one
    """

    console = f"{os.path.dirname(__file__)}/../../build/package/bin/qmx-console"

    def __init__(self, folder, disk, load=None, cache="writeback"):
        self.folder, self.disk, self.cache = folder, disk, cache
        self.log = open(f"{folder}/machine.log", "a", buffering=1)
        self.cables = {name: Cable(f"{folder}/{name}") for name in ("line", "adapter", "second")}
        self.line, self.adapter = self.cables["line"], self.cables["adapter"]
        self.start(load)

    def start(self, load=None, adapter=False):
        """Power on; with the adapter plugged in if it is to be there already."""
        qmp, qmp_end = socket.socketpair()
        shell, shell_end = socket.socketpair()
        ends = {name: cable.machine_end for name, cable in self.cables.items()}
        ends |= {"qmp": qmp_end, "shell": shell_end}
        command = ["qemu-system-x86_64", "-nodefaults", "-display", "none", "-cpu", "max",
                   "-accel", "tcg,thread=multi", "-smp", "2", "-m", "1024", "-rtc", "base=utc",
                   "-kernel", f"{self.folder}/vmlinuz", "-initrd", f"{self.folder}/initrd",
                   "-append", "root=/dev/vda rw console=ttyS1 quiet",
                   "-drive", f"file={self.disk},if=virtio,cache={self.cache}",
                   "-drive", f"file={self.folder}/packages.raw,if=virtio,format=raw,readonly=on",
                   "-device", "virtio-serial", "-device", "virtserialport,chardev=shell,name=shell",
                   "-serial", "chardev:line", "-serial", f"file:{self.folder}/console.log",
                   "-device", "qemu-xhci,id=usb", "-mon", "chardev=qmp,mode=control"]
        for name, end in ends.items():
            command += ["-chardev", f"socket,id={name},fd={end.fileno()}"]
        command += ["-loadvm", load] if load else []
        command += ["-device", "usb-serial,bus=usb.0,port=1,id=adapter,chardev=adapter,"
                    "serial=QMX-2026-adapter,always-plugged=on"] if adapter else []
        self.adapter.plugged = adapter
        self.emulator = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log,
                                         stderr=self.log, pass_fds=[e.fileno() for e in ends.values()])
        qmp_end.close()
        shell_end.close()
        self.qmp, self.shell = qmp.makefile("rw"), shell
        self.qmp.readline()
        self.ask_emulator("qmp_capabilities")
        try:
            self.run("true", 300)
        except Fault:
            self.cut()
            raise

    def ask_emulator(self, command, **arguments):
        self.qmp.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self.qmp.flush()
        while True:
            answer = json.loads(self.qmp.readline() or '{"error": "the emulator ended"}')
            if "error" in answer:
                raise Fault(f"{command}: {answer['error']}")
            if "return" in answer:
                return answer["return"]

    def run(self, command, patience=60, answers="", fails=False):
        """What a root shell of the machine prints; a Fault if it fails and need not."""
        self.log.write(f"# {command}\n")
        mark = secrets.token_hex(8)
        self.shell.sendall((f"eval {shlex.quote(command)} <<<{shlex.quote(answers)} 2>&1; "
                            f"echo {mark} $?\n").encode())
        printed, until = b"", time.monotonic() + patience
        while not (printed.endswith(b"\n") and mark.encode() in printed):
            self.shell.settimeout(max(0.01, until - time.monotonic()))
            try:
                printed += self.shell.recv(65536)
            except TimeoutError:
                raise Fault(f"{command}: not done in {patience} s: {printed.decode()[-500:]}")
        text, status = printed.decode(errors="replace").split(mark)
        self.log.write(text)
        if int(status) != 0 and not fails:
            raise Fault(f"{command}: exit status {status.strip()}: {text[-1000:]}")
        return text.strip()

    def wait(self, command, patience=60):
        """Until the command succeeds in the machine; the seconds that took."""
        start = time.monotonic()
        self.run(f"until {command}; do sleep 0.3; done >/dev/null 2>&1", patience)
        return time.monotonic() - start

    def plug(self, name="adapter", port=1):
        # The number that the maker burnt in, of each adapter its own.
        self.ask_emulator("device_add", driver="usb-serial", bus="usb.0", port=str(port), id=name,
                          chardev=name, serial=f"QMX-2026-{name}", **{"always-plugged": True})
        self.cables[name].plugged = True

    def pull(self):
        self.adapter.plugged = False
        self.ask_emulator("device_del", id="adapter")

    def cut(self):
        """The power is gone."""
        self.adapter.plugged = False
        self.emulator.kill()
        self.emulator.wait()

    def close(self):
        self.cut()
        for cable in self.cables.values():
            cable.close()
