#!/usr/bin/env python3
"""What the campaign's tool finds in a source, and that the rewritten source does what is chosen."""

import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from rewrite import File  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))


def changes(body, head="int f(int a, int b)"):
    file = File("x.cpp", f"{head}\n{{\n{body}\n}}\n")
    return [f"{place.rule}: {place.before} -> {place.after}" for place in file.places]


class WhatIsFound(unittest.TestCase):
    def test_a_comparison_takes_its_whole_operands(self):
        self.assertIn("relation: a + 1 < b * 2 -> a + 1 <= b * 2", changes("g(a + 1 < b * 2);"))

    def test_an_order_is_turned(self):
        self.assertIn("direction: a < b -> a > b", changes("return a < b;"))

    def test_each_operand_of_a_condition_is_left_out(self):
        found = changes("g(p && q && r);")
        self.assertEqual([line for line in found if line.startswith("logic")],
                         ["logic: p -> true", "logic: q -> true", "logic: r -> true"])

    def test_calls_and_assignments_are_removed_and_declarations_kept(self):
        found = changes("const auto x = g();\nstd::lock_guard lock(m);\nT* p = h();\nx.put(1);\ny = 2;\n++z;")
        removed = [line for line in found if line.startswith("removal")]
        self.assertEqual(removed, ["removal: x.put(1); -> ", "removal: y = 2; -> ", "removal: ++z; -> "])

    def test_what_the_compiler_computes_is_left_alone(self):
        self.assertEqual(changes("static_assert(sizeof(int) == 4);\nconstexpr int k = 3 + 4;"), [])
        self.assertEqual(changes("", "enum E { one = 1 };\nvoid f()"), [])

    def test_brackets_of_templates_are_no_comparisons(self):
        self.assertEqual(changes("std::map<int, std::vector<T>> m;"), [])

    def test_what_is_assigned_to_stays(self):
        self.assertEqual([line for line in changes("x.front() = {1, 2};") if line.startswith("call")], [])
        self.assertIn("call: x.front() -> x. back ()", changes("g(x.front());"))

    def test_a_body_of_a_lambda_is_code(self):
        self.assertIn("relation: x > 3 -> x >= 3", changes("g([](int x) { return x > 3; });"))


class WhatIsRun(unittest.TestCase):
    SOURCE = """#include <cstdio>
int larger(int a, int b)
{
    if (a > b && a != 7) {
        return a;
    }
    return b; // the other
}
int main()
{
    int count = 0;
    for (int i = 0; i < 3; ++i) {
        count += larger(i, 1);
    }
    std::printf("%d %d", count, larger(9, 9));
}
"""

    def test_each_number_chooses_one_change_and_none_the_original(self):
        with tempfile.TemporaryDirectory() as folder:
            file = File("x.cpp", self.SOURCE)
            for place in file.places:
                place.number = place.index
            source, program = os.path.join(folder, "x.cpp"), os.path.join(folder, "x")
            with open(source, "w", encoding="utf-8") as out:
                out.write(file.written(os.path.join(HERE, "mutant.h")))
            subprocess.run(["g++", "-std=c++20", "-o", program, source], check=True)

            def output(**chosen):
                return subprocess.run([program], env={**os.environ, **chosen}, stdout=subprocess.PIPE, text=True,
                                      timeout=20, check=False).stdout

            self.assertEqual(output(), "4 9")
            by_text = {f"{place.before} -> {place.after}": place.number for place in file.places}
            self.assertEqual(output(QRX_MUTANT=str(by_text["return b; -> return {};"])), "2 0")
            self.assertEqual(output(QRX_MUTANT=str(by_text["i < 3 -> i <= 3"])), "7 9")
            self.assertEqual(output(QRX_MUTANT=str(by_text["a > b -> a >= b"])), "4 9")

            reached = os.path.join(folder, "reached")
            with open(reached, "wb") as out:
                out.truncate(len(file.places))
            output(QRX_MUTANTS_REACHED=reached)
            with open(reached, "rb") as marks:
                self.assertEqual(marks.read(), b"\1" * len(file.places))


if __name__ == "__main__":
    unittest.main()
