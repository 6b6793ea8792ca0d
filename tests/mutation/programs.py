"""The test programs: their cases, how long each takes, which changes each reaches, and what they say of one."""

import os
import pickle
import re
import signal
import subprocess
import threading
import time
from concurrent.futures import ThreadPoolExecutor

TEST_LIST = re.compile(r"qrx_add_test\(\s*(\w+)")
# A case may take this many times as long as alone, and some seconds for a machine that does other things too.
PATIENCE_FACTOR = 10
PATIENCE_SECONDS = 10


def program_names(source):
    """The programs of all folders but the guest's, whose kernel boots for minutes."""
    names = []
    for folder, _, files in os.walk(os.path.join(source, "tests")):
        if "CMakeLists.txt" in files and f"{os.sep}guest" not in folder:
            with open(os.path.join(folder, "CMakeLists.txt"), encoding="utf-8") as file:
                names += TEST_LIST.findall(file.read())
    return sorted(set(names))


class Case:
    def __init__(self, program, name):
        self.program, self.name = program, name
        self.seconds, self.reached = 0.0, frozenset()


def environment(**more):
    # Freed memory is overwritten, so that a change which reads it is noticed.
    return {key: value for key, value in {"MALLOC_PERTURB_": "165", **os.environ, **more}.items() if value is not None}


def patience(case):
    return PATIENCE_SECONDS + PATIENCE_FACTOR * case.seconds


class Run:
    """One start of a program with some of its cases, ended as soon as one of them takes longer than its limit."""

    def __init__(self, program, limits, **more):
        """The limits are seconds by case name."""
        self._limits = limits
        self._ends_at = time.monotonic() + PATIENCE_SECONDS
        self._has_ended = threading.Event()
        self.failed, self.is_late = None, False
        command = [program, "--gtest_fail_fast", "--gtest_color=no", "--gtest_filter=" + ":".join(limits)]
        # A session of its own, so that what a case forked ends with it.
        self._process = subprocess.Popen(command, env=environment(**more), stdin=subprocess.DEVNULL,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace", text=True,
                                         start_new_session=True)

    def end(self):
        """Waits for the end; true if all cases passed."""
        watcher = threading.Thread(target=self._watch)
        watcher.start()
        with self._process.stdout:
            for line in self._process.stdout:
                self._read(line)
        os.waitid(os.P_PID, self._process.pid, os.WEXITED | os.WNOWAIT)
        self._has_ended.set()
        watcher.join()
        self._end_all()
        return self._process.wait() == 0 and not self.is_late

    def _read(self, line):
        began = re.match(r"\[ RUN      \] (\S+)", line)
        failed = re.match(r"\[  FAILED  \] ([^\s,]+)", line)
        if began:
            self._ends_at = time.monotonic() + self._limits.get(began.group(1), PATIENCE_SECONDS)
        elif failed and self.failed is None:
            self.failed = failed.group(1)

    def _watch(self):
        while not self._has_ended.wait(0.2):
            if time.monotonic() > self._ends_at:
                self.is_late = True
                self._end_all()
                return

    def _end_all(self):
        """While the program is not waited for, its number is nobody else's."""
        os.killpg(self._process.pid, signal.SIGKILL)


def run(program, limits, **more):
    """How the program ended: "passed", "failed" with the case's name, or "time limit"."""
    one = Run(program, limits, **more)
    if one.end():
        return "passed", None
    return ("time limit", None) if one.is_late else ("failed", one.failed)


def list_cases(program):
    done = subprocess.run([program, "--gtest_list_tests"], stdout=subprocess.PIPE, text=True, check=True)
    suite, cases = "", []
    for line in done.stdout.splitlines():
        if line.startswith("  "):
            cases.append(Case(program, suite + line.split("#")[0].strip()))
        elif line.endswith(".") or ".  #" in line:
            suite = line.split("#")[0].strip()
    return [case for case in cases if "DISABLED_" not in case.name]


def look(case, count, folder):
    """Runs one case with the original code; says whether it passed."""
    marks = os.path.join(folder, re.sub(r"\W", "_", os.path.basename(case.program) + case.name))
    with open(marks, "wb") as file:
        file.truncate(count)
    began = time.monotonic()
    result, _ = run(case.program, {case.name: 300}, QRX_MUTANTS_REACHED=marks, QRX_MUTANT=None)
    case.seconds = time.monotonic() - began
    with open(marks, "rb") as file:
        case.reached = frozenset(at for at, mark in enumerate(file.read()) if mark)
    os.remove(marks)
    return result == "passed"


def look_at_all(programs, count, folder, jobs):
    """The cases that pass, with what they reach. One that fails without a change says nothing about a change.

    What a program's cases reach is kept in the folder, for as long as the program is not built again.
    """
    os.makedirs(folder, exist_ok=True)
    cases = []
    for program in programs:
        kept_name = os.path.join(folder, os.path.basename(program) + ".kept")
        built = os.stat(program).st_mtime_ns
        kept = load(kept_name)
        if kept is None or kept[0] != built:
            all_cases = list_cases(program)
            with ThreadPoolExecutor(jobs) as pool:
                passed = list(pool.map(lambda case: look(case, count, folder), all_cases))
            kept = built, [case for case, is_good in zip(all_cases, passed) if is_good]
            for case, is_good in zip(all_cases, passed):
                if not is_good:
                    print(f"mutation: {case.name} fails without a change and is left out", flush=True)
            with open(kept_name, "wb") as file:
                pickle.dump(kept, file)
        cases += kept[1]
    return cases


def load(name):
    try:
        with open(name, "rb") as file:
            return pickle.load(file)
    except FileNotFoundError:
        return None


def try_change(number, cases, slowest):
    """Whether the cases that reach a change notice it: (verdict, by which case). Quick programs first.

    A failure counts if the case fails again alone: on a busy machine one may fail by itself.
    """
    by_program = {}
    for case in cases:
        if number in case.reached and case.seconds <= slowest:
            by_program.setdefault(case.program, []).append(case)
    if not by_program:
        return ("only slow" if any(number in case.reached for case in cases) else "not reached"), None
    for program, its in sorted(by_program.items(), key=lambda item: sum(case.seconds for case in item[1])):
        limits = {case.name: patience(case) for case in its}
        while limits:
            verdict, failed = run(program, limits, QRX_MUTANT=str(number))
            if verdict == "passed":
                break
            if failed not in limits:
                return verdict if verdict == "time limit" else "crash", os.path.basename(program)
            if run(program, {failed: limits[failed]}, QRX_MUTANT=str(number))[0] != "passed":
                return "failed", failed
            del limits[failed]
    return "survived", None
