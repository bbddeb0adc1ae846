"""The program under attack, as its own process on loopback."""

import os
import re
import signal
import subprocess
import tempfile
import time
import urllib.request


class Process:
    """Ends with the `with` block, by its own number."""

    def __init__(self, *command):
        self._output = tempfile.TemporaryFile()
        self._process = subprocess.Popen(command, stdout=self._output, stderr=subprocess.STDOUT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGTERM)
        try:
            self._process.wait(timeout=15)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._output.close()

    def output(self):
        size = os.fstat(self._output.fileno()).st_size
        return os.pread(self._output.fileno(), size, 0).decode(errors="replace")  # the program writes where it was

    def wait_for(self, pattern, seconds=15):
        """The match of `pattern` in what the program has printed."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            found = re.search(pattern, self.output())
            if found:
                return found
            if self._process.poll() is not None:
                break
            time.sleep(0.02)
        raise AssertionError(f"'{pattern}' did not come; the program said: {self.output()[-2000:]}")

    def finish(self, seconds):
        """The exit code; none when it still runs after so many seconds."""
        try:
            return self._process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            return None

    def is_running(self):
        return self._process.poll() is None

    def pid(self):
        return self._process.pid

    def memory_mib(self):
        with open(f"/proc/{self._process.pid}/status", encoding="ascii") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1)) / 1024

    def processor_seconds(self):
        with open(f"/proc/{self._process.pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Relay(Process):
    """`lumo mcu` on free ports of loopback. Nobody is trusted, so that limits an address hold there, too. `files`: the
    most descriptors it may have."""

    def __init__(self, program, *options, files=0):
        limit = ("sh", "-c", 'ulimit -n "$0" && exec "$@"', str(files)) if files else ()
        super().__init__(*limit, program, "mcu", "--listen", "127.0.0.1:0", "--reflector-port", "off", "--http", "127.0.0.1:0",
                         "--trusted", "none", *options)
        found = self.wait_for(r"listening on \S+:(\d+) .*pages at http://\S+:(\d+)/")
        self.port, self.http = int(found.group(1)), int(found.group(2))

    def metric(self, name):
        """The sum of a metric over all its labels."""
        with urllib.request.urlopen(f"http://127.0.0.1:{self.http}/metrics", timeout=10) as page:
            lines = page.read().decode().splitlines()
        return sum(float(line.split()[-1]) for line in lines if re.match(rf"{name}[ {{]", line))

    def metric_when_it_reaches(self, name, value):
        """The metric once it is so high, or as it is after two seconds: the last datagram may be on its way."""
        end = time.monotonic() + 2
        while (now := self.metric(name)) < value and time.monotonic() < end:
            time.sleep(0.02)
        return now
