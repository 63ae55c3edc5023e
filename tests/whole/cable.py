"""The serial cable: what goes in at one end comes out at the other, unless the adapter is pulled."""
import os
import select
import socket
import threading
import time
import tty

STX, ETX, END = b"\x02", b"\x03", b"\x03\r\n"


class Silence(Exception):
    """Nothing came back in time."""


class Cable:
    """From a socket of the emulator's to a pty (`path`), where the logger is."""

    def __init__(self, path):
        self.path = path
        self.rate = 0  # bytes a second towards the logger, 0 is as fast as they come
        self.plugged = True  # bytes of a cable that ends nowhere are lost
        self.socket, self.machine_end = socket.socketpair()
        # A small buffer, so that bytes wait in the machine and not on their way.
        self.machine_end.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
        self.master, slave = os.openpty()
        os.set_blocking(self.master, False)
        tty.setraw(slave)
        if os.path.lexists(path):
            os.unlink(path)
        os.symlink(os.ttyname(slave), path)
        # Kept open: a pty whose last reader goes away is hung up.
        self.slave = slave
        threading.Thread(target=self.carry, daemon=True).start()

    def carry(self):
        arrived = b""  # at the logger's end, where it can wait as long as it likes
        while True:
            ready, room, _ = select.select([self.socket, self.master],
                                           [self.master] if arrived else [], [])
            if room:
                arrived = arrived[os.write(self.master, arrived):]
            if self.master in ready:
                sent = os.read(self.master, 4096)
                if self.plugged:
                    self.socket.sendall(sent)
            if self.socket in ready:
                received = self.socket.recv(256 if self.rate else 65536)
                if not received:
                    return
                if self.rate:
                    time.sleep(len(received) / self.rate)
                if self.plugged:
                    arrived += received

    def close(self):
        self.machine_end.shutdown(socket.SHUT_RDWR)
        os.unlink(self.path)

    # A logger of a few lines; qmx-console at `path` is the whole one.

    def send(self, text):
        while self.receive(0):
            pass
        os.write(self.slave, STX + text.encode() + ETX)

    def receive(self, wait):
        return os.read(self.slave, 4096) if select.select([self.slave], [], [], wait)[0] else b""

    def ask(self, text, patience=10):
        """The text of the reply to e.g. "AREG K0 12"; for LPRC and ASTO with the lines behind it."""
        self.send("4" + text)
        reply, until = b"", time.monotonic() + patience
        while not whole(reply):
            more = self.receive(max(0, until - time.monotonic()))
            if not more:
                raise Silence(f"{text}: no reply in {patience} s, but {reply[-80:]!r}")
            reply, until = reply + more, time.monotonic() + patience
        return reply.replace(STX, b"").replace(ETX, b"").decode().strip().replace("\r\n", "\n")

    def served(self, within, every=1):
        """Asks like a logger that tries again; the seconds until there was an answer."""
        start = time.monotonic()
        while time.monotonic() < start + within:
            try:
                self.ask("LCFG K0", every)
                seconds = time.monotonic() - start
                while self.receive(every):
                    pass  # answers to what was asked before
                return seconds
            except Silence:
                pass
        raise Silence(f"not served within {within} s")


def join(one, other):
    """A null-modem cable between the ends where the loggers are."""
    def carry():
        to = {one.slave: other.slave, other.slave: one.slave}
        while True:
            for ready in select.select(list(to), [], [])[0]:
                os.write(to[ready], os.read(ready, 4096))
    threading.Thread(target=carry, daemon=True).start()


def whole(reply):
    """Whether a reply has come with all its lines."""
    if END not in reply:
        return False
    text, lines = reply.split(END, 1)
    fields = text.split()
    if fields[0][-4:] not in (b"ASTO", b"LPRC") or fields[-1] == b"SE":
        return True
    return lines.count(b"\r\n") >= (int(fields[2]) if fields[0][-4:] == b"ASTO" else 1)
