# SPDX-License-Identifier: MIT
"""Compiles a mutant, links it into the test programs of a build folder, and runs them.

The build folder is only read: its compile and link commands are repeated with a private copy of src/.
"""
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import time
from dataclasses import dataclass, field
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
ARCHIVE = re.compile(r"\S*libsec_objects\.a$")


@dataclass
class Test:
    name: str      # as CTest has it
    command: list
    folder: Path   # where it runs
    link: Path     # link.txt of its program
    environment: dict
    cpu: float = 0.0
    wall: float = 0.0


@dataclass
class Build:
    """A configured and built folder: what its objects depend on, and its tests."""
    folder: Path
    commands: dict = field(default_factory=dict)  # object -> (folder, words)
    dependants: dict = field(default_factory=dict)  # file below the source folder -> objects
    tests: list = field(default_factory=list)

    def __post_init__(self):
        for entry in json.loads((self.folder / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            self.commands[(Path(entry["directory"]) / words[words.index("-o") + 1]).resolve()] = (entry["directory"], words)
        for object_file in self.commands:
            depfile = Path(f"{object_file}.d")
            if not depfile.exists():
                continue
            for word in depfile.read_text().replace("\\\n", " ").split()[1:]:
                path = (self.commands[object_file][0] / Path(word)).resolve()
                if path.is_relative_to(SOURCE / "src"):
                    self.dependants.setdefault(str(path.relative_to(SOURCE)), []).append(object_file)
        self.tests = list(self.find_tests())

    def find_tests(self):
        links = {}
        for link in self.folder.glob("**/CMakeFiles/*.dir/link.txt"):
            words = shlex.split(link.read_text().split("\n")[0])
            if "-o" in words and any(ARCHIVE.search(word) for word in words):
                links[(link.parents[2] / words[words.index("-o") + 1]).resolve()] = link
        shown = subprocess.run(["ctest", "--test-dir", str(self.folder), "--show-only=json-v1"], capture_output=True,
                               check=True, text=True)
        for test in json.loads(shown.stdout)["tests"]:
            program = Path(test["command"][0]).resolve() if "command" in test else None
            if program not in links:
                continue
            properties = {item["name"]: item["value"] for item in test["properties"]}
            yield Test(test["name"], test["command"], Path(properties["WORKING_DIRECTORY"]), links[program],
                       dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", [])))


class Job:
    """One mutant at a time, in a folder of its own."""

    def __init__(self, folder):
        self.folder = folder
        self.baseline = {}
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(SOURCE / "src", folder / "src")
        (folder / "objects").mkdir()

    # Compiles a build's object from the private copy of src/; None when the compiler refuses.
    def compile(self, build, object_file, name):
        directory, words = build.commands[object_file]
        words = [word.replace(f"{SOURCE}/src", f"{self.folder}/src") for word in words if word != "-Werror"]
        if Path(words[0]).name == "ccache":
            words = words[1:]
        to = self.folder / "objects" / name
        words[words.index("-o") + 1] = str(to)
        done = subprocess.run([*words, "-w"], cwd=directory, capture_output=True, check=False, timeout=600)
        return to if done.returncode == 0 else None

    def library_objects(self, build, file):
        return [o for o in build.dependants.get(file, []) if "sec_objects.dir" in str(o) and "abi_proof" not in str(o)]

    # The objects of the mutant, as {object of the build: mutated one}; "refused" or "equivalent" otherwise.
    def compile_mutant(self, build, mutant, source, compare):
        path = self.folder / mutant.file
        objects = self.library_objects(build, mutant.file)
        if compare:
            for object_file in objects:
                if object_file not in self.baseline:
                    made = self.compile(build, object_file, f"baseline-{object_file.name}")
                    self.baseline[object_file] = made.read_bytes()
            path.write_text(mutant.apply(source))
        mutated = {}
        for number, object_file in enumerate(objects):
            made = self.compile(build, object_file, f"{build.folder.name}-{number}-{object_file.name}")
            if made is None:
                return "refused"
            mutated[object_file] = made
        if compare and all(self.baseline[o] == made.read_bytes() for o, made in mutated.items()):
            return "equivalent"
        return mutated

    def restore(self, mutant, source):
        (self.folder / mutant.file).write_text(source)

    # Links a test's program with the mutated objects before the archive, so that its members stay out.
    def link(self, build, test, mutant, mutated):
        directory = test.link.parents[2]
        words = shlex.split(test.link.read_text().split("\n")[0])
        program = self.folder / "program"
        program.unlink(missing_ok=True)
        words[words.index("-o") + 1] = str(program)
        dependants = set(build.dependants.get(mutant.file, []))
        at = next(i for i, word in enumerate(words) if ARCHIVE.search(word))
        for i, word in enumerate(words):
            own = (directory / word).resolve()
            if own in dependants:  # a test that uses the header itself
                made = self.compile(build, own, f"test-{own.name}")
                if made is None:
                    return None
                words[i] = str(made)
        words[at:at] = [str(made) for made in mutated.values()]
        done = subprocess.run(words, cwd=directory, capture_output=True, check=False, timeout=600)
        return program if done.returncode == 0 else None

    # Runs a test's program: None when it passes, else what ended it. `limits` in seconds of CPU and of the clock.
    def run(self, test, program, limits=None, memory=0):
        out = self.folder / "output"

        def limit():
            os.setpgid(0, 0)
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_FSIZE, (64 << 20, 64 << 20))
            if memory:
                resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
            if limits:
                resource.setrlimit(resource.RLIMIT_CPU, (int(limits[0]) + 1, int(limits[0]) + 2))

        environment = {**os.environ, **test.environment, "GTEST_FAIL_FAST": "1"}
        before, began = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
        with open(out, "wb") as to, subprocess.Popen(  # pylint: disable=subprocess-popen-preexec-fn
                [str(program), *test.command[1:]], cwd=test.folder, env=environment, stdin=subprocess.DEVNULL, stdout=to,
                stderr=subprocess.STDOUT, preexec_fn=limit) as child:
            try:
                status = child.wait(limits[1] if limits else 600)
            except subprocess.TimeoutExpired:
                status = None
            try:
                os.killpg(child.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        test_cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        if not limits:
            test.cpu, test.wall = test_cpu, time.monotonic() - began
        if status in (0, 77):  # 77: skipped, it cannot run here
            return None
        return self.culprit(out.read_text(errors="replace"), status)

    @staticmethod
    def culprit(text, status):
        how = "" if status is not None and status > 0 else " (timeout)" if status in (None, -signal.SIGXCPU, -signal.SIGKILL) \
            else f" ({signal.Signals(-status).name})"
        failed = re.search(r"^\[  FAILED  \] (\S+?)(?:,| \(|$)", text, re.MULTILINE)
        if failed:
            return failed.group(1)
        begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.MULTILINE)
        sanitizer = re.search(r"(AddressSanitizer: [\w-]+|runtime error: [^\n]{1,60})", text)
        return (begun[-1] if begun else "the program") + (f" ({sanitizer.group(1)})" if sanitizer else how)
