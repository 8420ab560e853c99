"""A binkd for a site: OUTDIR is the mailer's box for the other system, INBOUND is the mailer's inbound directory. Its
other files are in a directory of its own. It talks to one other system on this machine.
"""

import os
import shutil
import signal
import socket
import subprocess
import time
from pathlib import Path

from harness.site import Site

SESSION_LIMIT = 30
PROGRAM = shutil.which("binkd") or shutil.which("binkd", path="/usr/sbin:/usr/local/sbin")


class Mailer:
    def __init__(self, site: Site, address: str):
        assert PROGRAM, "there is no binkd: run script/bootstrap"
        self.site = site
        self.address = f"{address}@fidonet"
        self.directory = site.root.parent / f"mailer of {site.root.name}".replace(" ", "-")
        for name in ("outbound", "partial", "strangers"):
            (self.directory / name).mkdir(parents=True)
        self.log = self.directory / "binkd.log"
        self.log.touch()

    def configure(self, other: "Mailer", host: str, port: int) -> Path:
        """Writes the configuration for sessions with the other system."""
        here = self.directory
        path = here / "binkd.cfg"
        path.write_text(
            f"domain fidonet {here}/outbound 2\n"
            f"address {self.address}\n"
            "sysname Test\nlocation Test\nsysop Test\nnodeinfo TEST\n"
            f"log {self.log}\nloglevel 5\n"
            f"inbound {self.site.path('IN')}\n"
            f"inbound-nonsecure {here}/strangers\n"
            f"temp-inbound {here}/partial\n"
            f"listen 127.0.0.1:{port}\n"
            "rescan-delay 1\ncall-delay 1\ntimeout 20\nconnect-timeout 20\n"
            f"node {other.address} {host} sEcret i {self.site.path('OUT')}\n"
        )
        return path

    def serve(self, other: "Mailer") -> tuple[subprocess.Popen[bytes], int]:
        """Starts a server for the other system on a free port, and waits until it answers."""
        for _ in range(5):
            with socket.socket() as free:
                free.bind(("127.0.0.1", 0))
                port = free.getsockname()[1]
            server = self._start(self.configure(other, "-", port), "-s")
            if self._answers(server, port):
                return server, port
            stop(server)  # someone else was quicker to take the port
        raise AssertionError(f"no server: {self.log.read_text()}")

    def call(self, other: "Mailer", port: int) -> None:
        """Calls the other system, exchanges the waiting files of both sides, and hangs up."""
        client = self._start(self.configure(other, f"127.0.0.1:{port}", port), "-p", "-P", other.address)
        try:
            client.wait(timeout=SESSION_LIMIT)
        finally:
            stop(client)
        assert client.returncode == 0, self.log.read_text()

    def _start(self, configuration: Path, *options: str) -> subprocess.Popen[bytes]:
        return subprocess.Popen(
            [PROGRAM, *options, str(configuration)],
            cwd=self.directory,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            start_new_session=True,
        )

    @staticmethod
    def _answers(server: subprocess.Popen[bytes], port: int) -> bool:
        deadline = time.monotonic() + SESSION_LIMIT
        while server.poll() is None and time.monotonic() < deadline:
            try:
                with socket.create_connection(("127.0.0.1", port), timeout=5):
                    return True
            except OSError:
                time.sleep(0.05)
        return False


def stop(process: subprocess.Popen[bytes]) -> None:
    """Ends a running mailer and its sessions."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            pass
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()
