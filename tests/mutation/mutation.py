#!/usr/bin/env python3
"""Changes the library in small ways, one at a time, and reports which changes no test notices. See README.md."""

import argparse
import json
import os
import random
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor, as_completed

import programs
from rewrite import File, blamed_by

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
LIBRARY = "IntLibs/QrxHidMgr"
CHANGED_FOLDERS = tuple(f"{LIBRARY}/{name}/" for name in ("Additions", "HID", "Platform", "Recordings", "Sources",
                                                           "Text"))
PUBLISHED = f"{LIBRARY}/Platform/include/"
NO_EFFECT = os.path.join(HERE, "no_effect.txt")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--work", default=os.path.join(ROOT, "build", "mutation"), help="folder for the copy")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many at a time")
    parser.add_argument("--only", action="append", default=[], metavar="TEXT", help="paths that contain the text")
    parser.add_argument("--program", action="append", default=[], metavar="NAME", help="test programs; default: all")
    parser.add_argument("--headers", action=argparse.BooleanOptionalAction, default=True,
                        help="change headers too; without, the test programs need not be compiled anew")
    parser.add_argument("--sample", type=int, metavar="N", help="so many changes that are reached, drawn by chance")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--slowest", type=float, default=3.0, metavar="SECONDS",
                        help="cases that take longer are left out")
    parser.add_argument("--again", metavar="FILE", help="only what an earlier run's results name as not caught")
    parser.add_argument("--results", metavar="FILE", help="default: results.json in the work folder")
    return parser.parse_args()


def write_if_other(path, text):
    try:
        with open(path, encoding="utf-8") as file:
            if file.read() == text:
                return
    except FileNotFoundError:
        os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def is_changed(path, with_headers):
    if path.endswith(".h") and not with_headers:
        return False
    if path.endswith("/Additions/mac/Ground.cpp"):  # not compiled here
        return False
    return path.startswith(CHANGED_FOLDERS) and not path.startswith(PUBLISHED) and path.endswith((".h", ".cpp"))


def copy_and_scan(copy, with_headers):
    """Copies the project; returns its sources of the library, scanned, their changes numbered."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, stdout=subprocess.PIPE,
                            text=True, check=True).stdout.split("\n")
    files = {}
    for path in sorted(set(filter(None, listed))):
        origin = os.path.join(ROOT, path)
        if not os.path.isfile(origin):
            continue
        if is_changed(path, with_headers):
            with open(origin, encoding="utf-8") as file:
                files[path] = File(path, file.read())
            continue
        target = os.path.join(copy, path)
        with open(origin, "rb") as file:
            data = file.read()
        if not os.path.exists(target) or open(target, "rb").read() != data:
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, "wb") as file:
                file.write(data)
            os.chmod(target, os.stat(origin).st_mode)
    return files


class Memory:
    """What the work folder keeps from run to run: each file's first number, and which changes do not compile."""

    ROOM = 2000  # numbers of a file; its first stays the same, so that only what was edited is compiled again

    def __init__(self, work):
        self._name = os.path.join(work, "memory.json")
        self._first, self._dropped = {}, set()
        if os.path.exists(self._name):
            with open(self._name, encoding="utf-8") as file:
                kept = json.load(file)
            self._first, self._dropped = kept["first"], set(kept["dropped"])

    def number(self, files):
        for path, file in files.items():
            first = self._first.setdefault(path, len(self._first) * self.ROOM)
            file.places = [place for place in file.places if place.key not in self._dropped]
            for place in file.places:
                place.number = first + place.index
        self._save()

    def count(self):
        return len(self._first) * self.ROOM

    def drop(self, file, numbers):
        self._dropped.update(place.key for place in file.places if place.number in numbers)
        file.drop(numbers)
        self._save()

    def _save(self):
        write_if_other(self._name, json.dumps({"first": self._first, "dropped": sorted(self._dropped)}))


def configure(copy, build):
    subprocess.run(["cmake", "--preset", "debug", "-B", build, "-DQRX_BUILD_EXAMPLES=OFF",
                    f"-DCMAKE_CXX_COMPILER_LAUNCHER={os.path.join(HERE, 'compiler')}"],
                   cwd=copy, check=True, stdout=subprocess.DEVNULL)


def write_sources(copy, files):
    for path, file in files.items():
        write_if_other(os.path.join(copy, path), file.written(os.path.join(HERE, "mutant.h")))


def build_all(copy, build, targets, files, memory, jobs):
    """Builds the targets; what does not compile is dropped, until all compiles."""
    environment = {**os.environ, "CCACHE_BASEDIR": copy, "CCACHE_NOHASHDIR": "1"}
    while True:
        done = subprocess.run(["ninja", "-C", build, "-k", "0", "-j", str(jobs), *targets], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", check=False, env=environment)
        if done.returncode == 0:
            return
        blamed = blamed_by(done.stdout, files)
        count = sum(len(numbers) for numbers in blamed.values())
        if count == 0:
            sys.exit(done.stdout[-4000:] + "\nmutation: the copy does not build")
        print(f"mutation: {count} changes do not compile and are dropped", flush=True)
        for path, numbers in blamed.items():
            memory.drop(files[path], numbers)
        write_sources(copy, files)


def find_programs(build, names):
    found = {}
    for folder, _, files in os.walk(os.path.join(build, "tests")):
        for name in files:
            path = os.path.join(folder, name)
            if name in names and os.access(path, os.X_OK):
                found[name] = path
    return [found[name] for name in names if name in found]


def known_without_effect():
    """Changes that no test can notice, by their keys, with the reason."""
    known = {}
    try:
        with open(NO_EFFECT, encoding="utf-8") as file:
            for line in file:
                if line.strip() and not line.startswith("#"):
                    key, _, reason = line.rstrip("\n").rpartition(" || ")
                    known[key] = reason
    except FileNotFoundError:
        pass
    return known


def tell_of_stale(known, places):
    """Lines of no_effect.txt that name no change of these sources: the code they spoke of has been edited."""
    stale = known.keys() - {place.key for place in places}
    for key in sorted(stale):
        print(f"mutation: no_effect.txt names no change of this tree: {key}", flush=True)


def choose(places, cases, options):
    reached = frozenset().union(*(case.reached for case in cases))
    if options.only:
        places = [place for place in places if any(text in place.path for text in options.only)]
    if options.again:
        with open(options.again, encoding="utf-8") as file:
            wanted = {result["key"] for result in json.load(file) if not is_caught(result["verdict"])}
        return [place for place in places if place.key in wanted]
    if options.sample and options.sample < len(places):
        places = random.Random(options.seed).sample(places, options.sample)
    # First what is likely to end soon; a file's changes are spread over the run.
    return sorted(places, key=lambda place: (place.number in reached, place.number % 97))


def is_caught(verdict):
    return verdict in ("failed", "crash", "time limit")


def run_all(places, cases, options, results_name):
    results = []

    def judge(place):
        verdict, by = programs.try_change(place.number, cases, options.slowest)
        return {"key": place.key, "path": place.path, "line": place.line, "rule": place.rule, "before": place.before,
                "after": place.after, "verdict": verdict, "by": by}

    with ThreadPoolExecutor(options.jobs) as pool:
        for done in as_completed([pool.submit(judge, place) for place in places]):
            result = done.result()
            results.append(result)
            if not is_caught(result["verdict"]):
                print(f"{result['path']}:{result['line']}: {result['verdict']}: {result['rule']}: "
                      f"{result['before']} -> {result['after'] or 'nothing'}", flush=True)
            if len(results) % 100 == 0:
                print(f"mutation: {len(results)} of {len(places)}", flush=True)
                write_if_other(results_name, json.dumps(results, indent=0))
    write_if_other(results_name, json.dumps(results, indent=0))
    return results


def summarize(results):
    known = known_without_effect()
    columns = ("caught", "no effect", "survived", "not reached")
    table = {}
    for result in results:
        row = table.setdefault(result["path"], dict.fromkeys(columns, 0))
        if is_caught(result["verdict"]):
            row["caught"] += 1
        elif result["key"] in known:
            row["no effect"] += 1
        else:
            row["not reached" if result["verdict"] == "not reached" else "survived"] += 1
    total = {name: sum(row[name] for row in table.values()) for name in columns}
    for path, row in sorted(table.items()) + [("all", total)]:
        counted = row["caught"] + row["survived"] + row["not reached"]
        share = 100 * row["caught"] / counted if counted else 100
        print(f"{share:5.1f} %  {row['caught']:4} caught  {row['survived']:3} survived  "
              f"{row['not reached']:3} not reached  {row['no effect']:3} without effect  {path}")


def main():
    options = arguments()
    copy = os.path.join(options.work, "source")
    build = os.path.join(copy, "build", "debug")
    names = options.program or programs.program_names(ROOT)
    files = copy_and_scan(copy, options.headers)
    memory = Memory(options.work)
    memory.number(files)
    write_sources(copy, files)
    configure(copy, build)
    for targets in (["QrxHIDManager-embedded-static"], names):
        build_all(copy, build, targets, files, memory, options.jobs)
    places = [place for file in files.values() for place in file.places]
    print(f"mutation: {len(places)} changes in {len(files)} files", flush=True)
    tell_of_stale(known_without_effect(), places)
    cases = programs.look_at_all(find_programs(build, names), memory.count(), os.path.join(options.work, "reached"),
                                 options.jobs)
    chosen = choose(places, cases, options)
    print(f"mutation: {len(cases)} cases; {len(chosen)} changes to try", flush=True)
    summarize(run_all(chosen, cases, options, options.results or os.path.join(options.work, "results.json")))


if __name__ == "__main__":
    main()
