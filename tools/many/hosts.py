"""Hosts reached by ssh, in the format of GNU parallel's sshlogin files."""

import concurrent.futures
import hashlib
import os
import pathlib
import re
import shlex
import subprocess

from _shared.tool import Failure

KEEP_ALIVE = ("-o BatchMode=yes -o ConnectTimeout=5 -o ServerAliveInterval=3 "
              "-o ServerAliveCountMax=3")
PLACE = ".cache/wcsp-many"  # in the home folder of each host


def ssh_command():
    """The ssh command of the user, with options that detect lost hosts."""
    return f"{os.environ.get('PARALLEL_SSH', 'ssh')} {KEEP_ALIVE}"


class Host:
    def __init__(self, line):
        self.line = line
        slots = re.match(r"(?:@[^/]*/)?(\d+)/", line)
        self.slots = int(slots[1]) if slots else None  # parallel runs, or None
        login = re.sub(r"^(?:@[^/]*/)?(?:\d+%?/)?", "", line)
        self.name = login.split()[-1]
        if login == ":":
            self.command = ["sh", "-c"]
        elif " " in login:
            self.command = shlex.split(login)
        else:
            self.command = [*shlex.split(ssh_command()), login]

    def run(self, script, data=b"", timeout=20):
        """Runs a shell script on the host; its output, or None if it failed."""
        try:
            done = subprocess.run([*self.command, script], input=data, capture_output=True,
                                  timeout=timeout)
        except subprocess.TimeoutExpired:
            return None
        return done.stdout if done.returncode == 0 else None

    def count_slots(self):
        """The number of parallel runs on the host."""
        if self.slots is None:
            self.slots = int((self.run("getconf _NPROCESSORS_ONLN") or b"").strip() or 1)
        return self.slots

    def send(self, files):
        """Copies files {name: content or path} to the host. Names contain hashes,
        so existing names are skipped. False if it failed."""
        there = self.run(f'mkdir -p "$HOME/{PLACE}" && cd "$HOME/{PLACE}" && ls')
        if there is None:
            return False
        for name, content in files.items():
            if name in there.decode().split():
                continue
            data = content if isinstance(content, bytes) else pathlib.Path(content).read_bytes()
            beside = f"{name}.$$"
            if self.run(f'cd "$HOME/{PLACE}" && cat > {beside} && chmod 755 {beside} && '
                        f"mv {beside} {name}", data, 60 + len(data) // 10**6) is None:
                return False
        return True


def read_hosts(path):
    lines = [line.strip() for line in pathlib.Path(path).read_text("utf-8").split("\n")]
    hosts = [Host(line) for line in lines if line and not line.startswith("#")]
    if not hosts:
        raise Failure(f"{path}: no host")
    return hosts


def on_all(hosts, action):
    """Calls action(host) for all hosts at once; the results in their order."""
    with concurrent.futures.ThreadPoolExecutor(max(len(hosts), 1)) as pool:
        return list(pool.map(action, hosts))


def name_with_hash(name, data):
    return f"{name}.{hashlib.sha256(data).hexdigest()[:16]}"
