"""Reads what strace writes of a program that marks its steps with access("/begin STEP") and access("/end STEP")."""
import collections
import re

CALL = re.compile(r"^(?P<thread>\d+)\s+(?P<name>\w+)\((?P<text>.*)$")
MARK = re.compile(r'"/(begin|end) (\w+)"')
# What the heap asks for by itself, as the system's allocator sees fit.
MEMORY = {"brk", "mmap", "munmap", "mremap", "madvise", "mprotect"}
# The program's own look at its time.
OWN_CLOCK = "CLOCK_THREAD_CPUTIME_ID"

Call = collections.namedtuple("Call", "name text")
Step = collections.namedtuple("Step", "name calls")


def calls(trace):
    """All calls of the program, in their order."""
    found = []
    for line in trace.splitlines():
        match = CALL.match(line)
        if match and OWN_CLOCK not in line:
            found.append(Call(match["name"], match["text"]))
    threads = {line.split()[0] for line in trace.splitlines() if line}
    if len(threads) != 1:
        raise ValueError(f"one thread was expected, there are {len(threads)}")
    return found


def steps(trace):
    """The steps in their order, each with its calls."""
    found, current = [], None
    for call in calls(trace):
        mark = MARK.search(call.text) if "access" in call.name else None
        if mark and mark[1] == "begin":
            current = Step(mark[2], [])
        elif mark:
            found.append(current)
            current = None
        elif current is not None:
            current.calls.append(call)
    if current is not None:
        raise ValueError(f"step {current.name} did not end")
    return found


def without_memory(step):
    return [call for call in step.calls if call.name not in MEMORY]


def device_contacts(some_calls):
    """Calls by which a device could have been reached: whatever opens something below /dev, and all that sends."""
    contacts = []
    for call in some_calls:
        opens = call.name.startswith("open") or call.name == "creat"
        if (opens and re.search(r'["<]/dev/', call.text)) or call.name == "ioctl" or call.name in SENDING:
            contacts.append(call)
    return contacts


SENDING = {"write", "writev", "pwrite64", "pwritev", "pwritev2", "sendto", "sendmsg", "sendmmsg", "sendfile", "splice"}
