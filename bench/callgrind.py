"""What a request costs our server in user space, counted under callgrind.

Each cost is the difference of two runs, one with twice as many requests as the other, so that what a start and the
first requests cost cancels out.
"""
import collections
import re
import subprocess

import servers

REQUESTS = 400
ALLOCATIONS = ("malloc", "calloc", "realloc", "aligned_alloc", "memalign", "posix_memalign")


def locked_addresses(library, known={}):
    """Where the atomic read-modify-write instructions of an object file are."""
    if library not in known:
        code = subprocess.run(["objdump", "-d", "--no-show-raw-insn", library], capture_output=True, text=True).stdout
        known[library] = {int(address, 16) for address in re.findall(r"^\s*(\w+):\s+(?:lock |xchg .*\()", code, re.M)}
    return known[library]


def parse(path):
    """The instructions, allocations and locked instructions of a whole run (valgrind's manual: Callgrind Format)."""
    total = collections.Counter()
    library, called, is_call = "", "", False
    for line in open(path):
        key, _, value = line.rstrip().partition("=")
        if key == "ob":
            library = value
        elif key == "cfn":
            called = value
        elif key == "calls":
            total["allocations"] += int(value.split()[0]) if called in ALLOCATIONS else 0
            is_call = True  # the next line is what the call cost, which its function's own lines say too
        elif line.startswith("0x"):
            address, *_, cost = line.split()
            if not is_call:
                total["instructions"] += int(cost)
                if library.startswith("/") and int(address, 16) in locked_addresses(library):
                    total["locked"] += int(cost)
            is_call = False
    return total


def run(build, request, count):
    path = servers.in_folder("callgrind.out")
    server = servers.ours(build, application="greetingapplication",
                          under=["valgrind", "--tool=callgrind", "--dump-instr=yes", "--compress-strings=no",
                                 "--compress-pos=no", f"--callgrind-out-file={path}"])
    with server.connect() as client:
        for _ in range(count):
            client.sendall(request)
            answer = client.recv(65536)
            assert answer.startswith(b"HTTP/1.1 200"), answer
    server.stop()
    return parse(path)


def costs(build, request):
    """Of one request, as a counter of instructions, allocations and locked."""
    once, twice = (run(build, request, count) for count in (REQUESTS, 2 * REQUESTS))
    return {what: (twice[what] - once[what]) / REQUESTS for what in ("instructions", "allocations", "locked")}
