"""Faults from outside: no memory, no room for the result, nobody who reads it, signals. The environment names the program,
ORV_PROGRAM, and an allocator that fails, ORV_FAILING.
"""
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
from hostile import PROGRAM, SANITIZED, Jpeg

COMMANDS = {
    "decode": "decode in/a.jpg OUT.ppm", "encode": "encode --optimize in/a.jpg OUT.jpg",
    "convert": "convert --to yuv420 in/a.jpg OUT.raw", "back": "convert --from ycbcr --size 40x24 in.raw OUT.ppm",
    "filter": "filter --box 3x3 in/a.jpg OUT.ppm", "swap": "swap --order bgr in/a.jpg OUT.ppm",
    "resize": "resize --method lanczos in/a.jpg OUT.ppm 50%", "sheet": "sheet in/a.jpg OUT.ppm",
    "compare": "compare in/a.jpg in/b.ppm", "info": "info", "help": "--help", "thumb": "thumb --size 10 in OUT",
}

CLOSING = rb"\d+ thumbnails in [0-9.]+ s, [0-9.]+ MP/s, \d+ failed\n\Z"


class Outside(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="orv-outside-")
        self.addCleanup(shutil.rmtree, self.folder)
        os.mkdir(self.at("in"))
        self.write("in/a.jpg", Jpeg(restart=2).file())
        self.write("in/b.ppm", Jpeg().pixels())
        self.write("in.raw", bytes(40 * 24 * 3))

    def at(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.at(name), "wb") as f:
            f.write(content)

    def orv(self, command, **settings):
        run = subprocess.run([PROGRAM] + command.split(), cwd=self.folder, capture_output="stdout" not in settings,
                             timeout=60, **settings)
        if command.startswith("thumb"):
            run.stderr = re.sub(CLOSING, b"", run.stderr)
        return run

    def left(self):
        """What is there beside the input, name and content, and is taken away."""
        found = {}
        for folder, _, names in os.walk(self.folder, topdown=False):
            for name in names:
                path = os.path.join(folder, name)
                key = os.path.relpath(path, self.folder)
                if key.startswith("in/") or key == "in.raw":
                    continue
                with open(path, "rb") as f:
                    found[key] = f.read()
                os.remove(path)
        return found

    def result(self, command):
        run = self.orv(command)
        files = self.left()
        self.assertIn(run.returncode, (0, 1), run.stderr)
        return run.returncode, run.stdout, files

    def check_refusal(self, where, command, run, files, whole):
        """No result, or, of a folder, only such as are whole; and a line for each that is not there."""
        self.assertEqual(run.returncode, 2 if command.startswith("compare") else 1, where)
        lines = run.stderr.split(b"\n")
        self.assertEqual(lines.pop(), b"", where)
        many = command.startswith("thumb")
        self.assertTrue(1 <= len(lines) <= (2 if many else 1) and all(l.startswith(b"orv: ") for l in lines),
                        f"{where}: {run.stderr}")
        self.assertTrue(files.items() <= whole.items() if many else not files, f"{where}: left {sorted(files)}")

    @unittest.skipIf(SANITIZED, "a sanitizer has its own allocator")
    def test_every_allocation_fails_in_turn(self):
        total = 0
        for name, command in COMMANDS.items():
            status, out, whole = self.result(command)
            for others in ("", "+"):
                n = nameless = 0
                while True:
                    n += 1
                    environment = {**os.environ, "LD_PRELOAD": os.environ["ORV_FAILING"], "ORV_FAIL": f"{n}{others}"}
                    with tempfile.TemporaryFile() as hit:
                        number = os.dup2(hit.fileno(), 9)
                        run = self.orv(command, env=environment, pass_fds=(number,))
                        os.close(number)
                        files = self.left()
                        if os.fstat(hit.fileno()).st_size == 0:
                            break
                    where = f"{name}, allocation {n}{others}"
                    if run.returncode == status and not run.stderr:
                        self.assertTrue(run.stdout == out and files == whole, where)
                    else:
                        self.check_refusal(where, command, run, files, whole)
                        nameless += b"orv: in" not in run.stderr and b"OUT" not in run.stderr
                if "in/" in command and not others:  # where there is none at all, none is there for a name
                    self.assertLess(nameless, 9, name)
                self.assertGreater(n, 1, "the allocator was not loaded")
                total += n - 1
        print(f"{total} failing allocations")

    @unittest.skipIf(SANITIZED, "a sanitizer starts threads, too")
    def test_threads_that_cannot_be_started(self):
        for i in range(40):
            shutil.copy(self.at("in/a.jpg"), self.at(f"in/{i}.jpg"))
        command = "thumb --size 10 --jobs 8 in OUT"
        alone = self.result(command + " --jobs 1")
        for most in range(8):
            run = self.orv(command, env={**os.environ, "LD_PRELOAD": os.environ["ORV_FAILING"], "ORV_THREADS": str(most)})
            self.assertEqual((run.returncode, run.stdout, self.left()), alone, f"{most} threads")

    def test_no_room(self):
        for name, command in COMMANDS.items():
            if "OUT." not in command:
                continue
            _, _, whole = self.result(command)
            self.assertEqual(len(whole), 1, name)
            size = sum(map(len, whole.values()))
            for limit in (0, 1, size // 2, size - 1):
                run = self.orv(command, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
                self.check_refusal(f"{name}, {limit} bytes", command, run, self.left(), whole)
                self.assertIn(b"OUT", run.stderr)
                self.assertIn(b"cannot write: File too large", run.stderr)
        with open("/dev/full", "wb") as full:
            for command in ("info", "--help", "resize --time --repeat 1 in/a.jpg OUT.ppm 50%", "compare in/a.jpg in/b.ppm"):
                run = self.orv(command, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(run.stderr, b"orv: cannot write to standard output\n")
                self.assertEqual(run.returncode, 2 if "compare" in command else 1)
                self.left()

    def test_nobody_reads(self):
        for command in ("info", "--help", "compare in/a.jpg in/b.ppm", "thumb --size 10 in OUT"):
            reader, writer = os.pipe()
            os.close(reader)
            _, _, whole = self.result(command)
            run = self.orv(command, stdout=writer, stderr=subprocess.PIPE)
            os.close(writer)
            self.assertEqual(run.stderr, b"orv: cannot write to standard output\n")
            self.assertEqual(run.returncode, 2 if "compare" in command else 1)
            self.assertLessEqual(self.left().items(), whole.items())

    def test_a_folder_killed_at_any_time(self):
        for i in range(60):
            shutil.copy(self.at("in/a.jpg"), self.at(f"in/{i}.jpg"))
        command = "thumb --size 10 --jobs 3 in OUT"
        began = time.monotonic()
        _, _, whole = self.result(command)
        duration = time.monotonic() - began
        for i in range(60):
            child = subprocess.Popen([PROGRAM] + command.split(), cwd=self.folder, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.PIPE)
            time.sleep(duration * i / 60)
            number = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP)[i % 4]
            child.send_signal(number)
            error = re.sub(CLOSING, b"", child.communicate()[1])
            self.assertIn(child.returncode, (0, -number))
            self.assertEqual(error, b"")
            self.assertLessEqual(self.left().items(), whole.items())

    def test_killed_at_any_time(self):
        picture = b"P6\n1200 900\n255\n" + random.Random(1).randbytes(1200 * 900 * 3)
        self.write("in/a.jpg", picture)  # by its content
        command = "resize --method linear in/a.jpg OUT.ppm 100%"
        began = time.monotonic()
        _, _, whole = self.result(command)
        duration = time.monotonic() - began
        killed = 0
        for i in range(120):
            old = {"OUT.ppm": b"old"} if i % 2 else {}
            for name, content in old.items():
                self.write(name, content)
            child = subprocess.Popen([PROGRAM] + command.split(), cwd=self.folder, stderr=subprocess.PIPE)
            time.sleep(duration * i / 100)
            number = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP)[i // 2 % 4]
            child.send_signal(number)
            error = child.communicate()[1]
            self.assertIn(child.returncode, (0, -number))
            self.assertEqual(error, b"")
            killed += child.returncode != 0
            files = self.left()
            self.assertTrue(files in (old, whole), f"signal {number}, run {i}: left {[(n, len(f)) for n, f in files.items()]}")
        self.assertGreater(killed, 5)  # on a busy machine many are done before


if __name__ == "__main__":
    unittest.main()
