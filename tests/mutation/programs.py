"""The test programs: their cases, how long each takes, which changes each reaches, and what they say of one."""

import os
import pickle
import re
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

TEST_LIST = re.compile(r"qrx_add_test\(\s*(\w+)")
# A case may take this many times as long as alone, and some seconds for a machine that does other things too.
PATIENCE_FACTOR = 10
PATIENCE_SECONDS = 15


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
    return {key: value for key, value in {**os.environ, **more}.items() if value is not None}


def run(program, cases, limit, **more):
    """How the program ended: "passed", "failed" with the case's name, or "time limit"."""
    command = [program, "--gtest_brief=1", "--gtest_fail_fast", "--gtest_filter=" + ":".join(cases)]
    try:
        done = subprocess.run(command, env=environment(**more), timeout=limit, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace", check=False)
    except subprocess.TimeoutExpired:
        return "time limit", None
    if done.returncode == 0:
        return "passed", None
    failed = re.search(r"\[  FAILED  \] ([^\s,]+)", done.stdout)
    return "failed", failed.group(1) if failed else None


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
    result, _ = run(case.program, [case.name], 300, QRX_MUTANTS_REACHED=marks, QRX_MUTANT=None)
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
        names = [case.name for case in its]
        # Each case was timed with a start of the program of its own.
        start = min(case.seconds for case in its)
        limit = PATIENCE_SECONDS + PATIENCE_FACTOR * sum(case.seconds - start for case in its)
        while names:
            verdict, failed = run(program, names, limit, QRX_MUTANT=str(number))
            if verdict == "passed":
                break
            if failed not in names:
                return verdict if verdict == "time limit" else "crash", os.path.basename(program)
            if run(program, [failed], limit, QRX_MUTANT=str(number))[0] != "passed":
                return "failed", failed
            names.remove(failed)
    return "survived", None
