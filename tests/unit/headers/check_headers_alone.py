#!/usr/bin/env python3
"""Compiles each public header alone, as the only thing that a C++17 program includes, with all warnings as errors."""

import argparse
import os
import subprocess
import sys

FLAGS = ["-std=c++17", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-x", "c++", "-"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--headers", required=True, help="folder of the public headers")
    arguments = parser.parse_args()

    headers = sorted(os.listdir(arguments.headers))
    failures = 0
    for header in headers:
        # Twice, so that a missing include guard shows as well.
        program = f'#include "{header}"\n#include "{header}"\nint main() {{}}\n'
        result = subprocess.run([arguments.compiler, f"-I{arguments.headers}", *FLAGS], input=program,
                                capture_output=True, text=True, check=False)
        if result.returncode != 0:
            failures += 1
            print(f"{header}:\n{result.stderr}")
    print(f"{len(headers)} headers, {failures} do not compile alone")
    return 1 if failures or not headers else 0


if __name__ == "__main__":
    sys.exit(main())
