#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""examples.py BUILD DOCUMENT: runs every example of a manual page or of the README, as it stands there.

A page's examples are what stands unfilled in its section EXAMPLES, the README's are its blocks of shell. Each line
is run by a shell in a folder that has what a reader would have: keys, a device at 192.0.2.7 that they fit, an
SNMP agent behind it, and files under the names that the line mentions. A line whose program stays is waited for
until that says it is ready, which lets the lines behind it run beside it, and is then ended as a service manager
ends it. A block that begins with #include is compiled, linked with libsec, and is a device by itself.

Runs inside script/netns: the addresses are this namespace's own.
"""
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
DEVICE = "192.0.2.7"
SKIPPED = 77  # CTest's number
# The front doors and the build are not run in here: other tests do it (system.demo, script/checks/packages).
ELSEWHERE = re.compile(r"^(script/|cmake |kill |mkdir )")
# These say that they are ready, too.
ENDS_BY_ITSELF = re.compile(r"zolt tunnel .*(-x|--exec)")


def page_blocks(text):
    """The unfilled blocks of EXAMPLES, as a reader sees them."""
    section = re.search(r"^\.SH EXAMPLES?\n(.*?)(?=^\.SH |\Z)", text, re.S | re.M)
    shown = re.findall(r"^\.(?:nf|EX)\n(.*?)^\.(?:fi|EE)$", section[1] if section else "", re.S | re.M)
    plain = [re.sub(r"\\f[A-Z]|\\&", "", re.sub(r"^\..*\n", "", block, flags=re.M)) for block in shown]
    for escape, character in ((r"\-", "-"), (r"\(aq", "'"), (r"\(ti", "~"), (r"\(ha", "^"), (r"\e", "\\")):
        plain = [block.replace(escape, character) for block in plain]
    return plain


def readme_blocks(text):
    return re.findall(r"^```sh\n(.*?)^```$", text, re.S | re.M)


def lines_of(block):
    """The commands of a block, without those that stand alone as a comment."""
    joined = block.replace("\\\n", "")
    return [line for line in joined.splitlines() if line.strip() and not line.startswith("#")]


def end(process):
    """Of a process with a session of its own: it and what it has started."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


class Failure(Exception):
    """Of an example."""


class Reader:
    """Somebody with the programs, a folder, and a device."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.running = []
        self.environment = dict(os.environ, HOME=str(folder), MIBS="", SNMP_PERSISTENT_DIR=str(folder), PYTHONUNBUFFERED="1")
        self.environment["PATH"] = f"{folder}/bin:{self.environment['PATH']}:/usr/sbin"
        (folder / "bin").mkdir()
        for program in ("zolt", "zolt-host"):
            (folder / "bin" / program).symlink_to(build / program)
        for home in (".local/share/bash-completion/completions", ".zfunc", ".config/fish/completions"):
            (folder / home).mkdir(parents=True)
        self.check("zolt key generate keys")
        self.place_files()

    def place_files(self):
        captures = SOURCE / "wireshark" / "captures"
        (self.folder / "wireshark").symlink_to(SOURCE / "wireshark")
        (self.folder / "libsec.so").symlink_to(self.build / "libsec.so")
        shutil.copy(captures / "udp.pcap", self.folder / "session.pcap")
        shutil.copy(captures / "keys.log", self.folder / "keys.log")
        os.chmod(self.folder / "keys.log", 0o600)
        (self.folder / "packet.bin").write_bytes(bytes.fromhex("4c4f55540020010000000040112233446f6f6f6f6f6f6f6f6f6f6f6f6f6f6f6f"))
        (self.folder / "devices.txt").write_text(f"{DEVICE} # lab-1\n")
        shutil.copy(self.folder / "keys" / "publickeys.dat", self.folder / "publickeys.dat")

    def check(self, command):
        """The output of a command that has to end well."""
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, env=self.environment, capture_output=True, text=True, timeout=60)
        if done.returncode != 0:
            raise Failure(f"ends with status {done.returncode}:\n{done.stdout}{done.stderr}")
        return done.stdout

    def start(self, command):
        """Runs a command to its end, or until it says that it is ready. What fails is an error."""
        name = self.folder / "notify"
        name.unlink(missing_ok=True)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager, open(self.folder / "said", "w+b") as said:
            manager.bind(str(name))
            manager.settimeout(0.05)
            process = subprocess.Popen(["bash", "-c", command], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=said, stderr=said,
                                       env=dict(self.environment, NOTIFY_SOCKET=str(name)), start_new_session=True)
            self.running.append((command, process))
            deadline = time.monotonic() + 120
            while process.poll() is None and time.monotonic() < deadline:
                try:
                    if manager.recv(100) == b"READY=1" and not ENDS_BY_ITSELF.search(command):
                        return
                except TimeoutError:
                    pass
            self.running.pop()
            if process.poll() is None:
                end(process)
            if process.wait() != 0:
                said.seek(0)
                raise Failure(f"ends with status {process.returncode}:\n{said.read().decode(errors='replace')}")

    def stop(self):
        """Ends what still runs, the latest first."""
        while self.running:
            command, process = self.running.pop()
            os.killpg(process.pid, signal.SIGTERM)
            if process.wait(20) != 0:
                raise Failure(f"{command}\nends with status {process.returncode} after SIGTERM")

    def run(self, line):
        """A line of an example."""
        if re.search(r"\bzolt(-host)? ", line):
            self.stop()
        keys, kept = self.folder / "keys", self.folder / "keys.kept"
        makes_keys = "key generate" in line
        if makes_keys:
            keys.rename(kept)
        self.start(line.replace("/etc/zolt", str(keys)))
        if makes_keys:
            shutil.rmtree(keys)
            kept.rename(keys)
        if line.startswith("zolt-host"):
            self.expect_service()

    def run_c(self, block):
        """A program that is a device: it reads its key in its own folder."""
        (self.folder / "example.c").write_text(block)
        self.check(f"cc -std=c99 -Wall -Wextra -Werror -I{SOURCE}/include example.c -L. -l:libsec.so -o example -Wl,-rpath,{self.build}")
        device = subprocess.Popen([self.folder / "example"], cwd=self.folder / "keys", stdout=subprocess.DEVNULL, start_new_session=True)
        try:
            self.expect_service()
        finally:
            end(device)

    def expect_service(self):
        """A session with the example that is running, over each transport. A device may still be starting."""
        self.check("zolt tunnel 127.0.0.1 --key keys/private.pem --listen 127.0.0.1:0 --wait 20 --timeout 1 --exec true")
        for transport in ("--udp", "--tcp"):
            if self.check(f"zolt request 127.0.0.1 --key keys/private.pem {transport} hello").upper() != "HELLO\n":
                raise Failure("answers something else than what was said")


def answer(plain, snmp):
    """The agent behind the devices: hands SNMP on to a real one, and repeats the rest."""
    while True:
        request, asker = plain.recvfrom(65536)
        if request[:1] != b"0":
            plain.sendto(request, asker)
            continue
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as onward:
            onward.settimeout(2)
            onward.sendto(request, snmp)
            try:
                plain.sendto(onward.recv(65536), asker)
            except (TimeoutError, ConnectionError):
                pass


def start_agent(reader, port):
    """An SNMP daemon, and the agent before it on a port of the loopback interface."""
    found = [path for path in (shutil.which("snmpd"), "/usr/sbin/snmpd", SOURCE / "build/packages/snmpd/usr/sbin/snmpd") if path and pathlib.Path(path).exists()]
    if not found or not shutil.which("snmpwalk"):
        print("skipped: there is no snmpd or no snmpwalk (Debian packages snmpd, snmp)")
        sys.exit(SKIPPED)
    (reader.folder / "snmpd.conf").write_text("agentAddress udp:127.0.0.1:1170\nrwcommunity public 127.0.0.1 .1.3.6.1.2.1.1\n")
    daemon = subprocess.Popen([found[0], "-f", "-C", "-c", reader.folder / "snmpd.conf", "-LF", "4", reader.folder / "snmpd.log"], env=reader.environment,
                              start_new_session=True)
    plain = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    plain.bind(("127.0.0.1", port))
    threading.Thread(target=answer, args=(plain, ("127.0.0.1", 1170)), daemon=True).start()
    return daemon


def run_document(build, document, folder):
    """The number of its examples; the first that fails is an error."""
    text = document.read_text(encoding="utf-8")
    blocks = readme_blocks(text) if document.suffix == ".md" else page_blocks(text)
    reader = Reader(build, folder)
    serves = any(block.startswith(("zolt-host", "#include")) for block in blocks)
    agent = start_agent(reader, 1161 if serves else 1163)
    device = None
    count = 0
    try:
        if not serves:
            reader.start("zolt-host --lib libsec.so --dir keys --forward 127.0.0.1:1163")
            device = reader.running.pop()[1]
        for block in blocks:
            for example in [block] if block.startswith("#include") else lines_of(block):
                if ELSEWHERE.search(example):
                    continue
                count += 1
                print(f"{document.name}: {example.splitlines()[0]}", flush=True)
                reader.run_c(example) if example.startswith("#include") else reader.run(example)
            reader.stop()
    finally:
        for process in [agent, device, *(process for _, process in reader.running)]:
            if process is not None:
                end(process)
    return count


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    subprocess.run(["ip", "address", "add", f"{DEVICE}/32", "dev", "lo"], check=True)
    name = sys.argv[2]
    with tempfile.TemporaryDirectory() as folder:
        try:
            count = run_document(build, pathlib.Path(name), pathlib.Path(folder))
        except Failure as why:
            sys.exit(f"FAILED: it {why}")
    if count == 0:
        sys.exit(f"FAILED: {name} has no example")
    print(f"{name}: {count} examples do what they say")


if __name__ == "__main__":
    main()
