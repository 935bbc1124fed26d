"""Runs the tool on stores, for the tests of failing calls, power failures and races."""
import os
import re
import subprocess
import sys

TOOL = os.path.realpath(sys.argv[1])
EXAMPLE = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../examples/branch-router.jsonl")
STORE = "d/vrrp-cfg_runtime_config"
CONVERT = ["convert", "d", "--root", ".", "--allow-loss", "--allow-mismatch", "--summary", "--json"]
DOWN, UP = [*CONVERT, "--from", "4.2(1)", "--to", "4.1(2)"], [*CONVERT, "--from", "4.1(2)", "--to", "4.2(1)"]


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=60, check=False, **options)


def records(root, name):
    """Returns all records of a store as text, or None if the store is not complete."""
    done = run(TOOL, "export", "--raw", name, cwd=root)
    return done.stdout if done.returncode == 0 else None


def import_store(root, name, lines):
    os.makedirs(os.path.join(root, os.path.dirname(name)), exist_ok=True)
    done = run(TOOL, "import", name, cwd=root, input=lines)
    assert done.returncode == 0, done


def example(layout="new"):
    """Returns the lines of the example with its records in one of the layouts."""
    with open(EXAMPLE, encoding="utf-8") as stream:
        lines = stream.readlines()
    if layout == "new":
        return lines
    new_fields = r',"(lower_threshold_prio|upper_threshold_prio|forwarding_state|bfd_peer_ip)":("[^"]*"|\w+)'
    return [re.sub(new_fields, "", line).replace('"layout":"new"', '"layout":"old"') for line in lines]
