"""What the system calls of enumeration must look like, on whatever machine they were traced: for a test whose `steps`
(see call_trace) and `output` are those of qrx_populate with `times` repetitions and `nodes` report nodes."""
import collections

import call_trace

MOST_CALLS_A_NODE = 40


def shown(calls):
    kinds = collections.Counter(call.name for call in calls)
    return f"{dict(kinds)}\nthe first:\n" + "\n".join(f"  {call.name}({call.text}" for call in calls[:60])


def opened_files(calls):
    """Paths of the files, not of the folders, that the calls opened; strace writes them behind the result, as in
    "= 5</sys/...>"."""
    results = [call.text.rsplit("= ", 1)[1] for call in calls
               if call.name == "openat" and "O_DIRECTORY" not in call.text and "O_PATH" not in call.text]
    return [result.split("<", 1)[1].rstrip(">") for result in results if "<" in result]


class EnumerationCases:
    # One look whether events wait, for each monitor that there may be.
    most_calls_observing = 2

    def steps_named(self, name):
        return [step for step in self.steps if step.name == name]

    def test_every_step_was_traced_and_finds_all_nodes_with_their_elements(self):
        names = ["first"] + ["again"] * self.times + ["observing"] * self.times
        self.assertEqual([step.name for step in self.steps], names)
        found = [line.split()[:2] for line in self.output.splitlines()]
        self.assertEqual(found, [[name, str(self.nodes)] for name in names])

    def test_the_first_populate_takes_at_most_40_calls_a_node(self):
        calls = self.steps_named("first")[0].calls
        self.assertLessEqual(len(calls), MOST_CALLS_A_NODE * self.nodes, shown(calls))

    def test_the_first_populate_reads_each_file_once(self):
        files = collections.Counter(opened_files(self.steps_named("first")[0].calls))
        self.assertGreaterEqual(len(files), self.nodes)
        self.assertEqual({path: times for path, times in files.items() if times > 1}, {})

    def test_populating_again_takes_no_more_calls_than_the_first_time(self):
        first = len(self.steps_named("first")[0].calls)
        for step in self.steps_named("again"):
            self.assertLessEqual(len(step.calls), first, shown(step.calls))

    def test_populating_while_observing_looks_for_events_and_reads_nothing(self):
        for step in self.steps_named("observing"):
            calls = call_trace.without_memory(step)
            self.assertLessEqual(len(calls), self.most_calls_observing, shown(calls))
            self.assertEqual([call for call in calls if call.name.startswith(("open", "read", "getdents"))], [])

    def test_nothing_below_dev_is_opened_and_nothing_is_sent(self):
        for step in self.steps:
            self.assertEqual(call_trace.device_contacts(step.calls), [], step.name)
