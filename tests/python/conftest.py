"""Shared inputs: traces written by `vxtrace gen` in a session-wide temporary directory. The
build passes the tool (VXTRACE_CLI) and the build tree (VXTRACE_BUILD) in the environment."""
import os
import subprocess

import pytest

CLI = os.environ["VXTRACE_CLI"]


def run_cli(*args):
    return subprocess.run([CLI, *map(str, args)], check=False, capture_output=True).stdout


@pytest.fixture(scope="session")
def traces(tmp_path_factory):
    """name -> path: "plain" (every record kind), "lz4" (bus records in LZ4 containers) and
    "diag" (a diagnostic session: KWP2000, UDS, XCP, CCP)."""
    d = tmp_path_factory.mktemp("traces")
    out = {"plain": d / "plain.vxt", "lz4": d / "lz4.vxt", "diag": d / "diag.vxt"}
    run_cli("gen", "--records", 4000, "--seed", 3, out["plain"])
    run_cli("gen", "--records", 4000, "--seed", 4, "--containers", out["lz4"])
    run_cli("gen", "--diag", out["diag"])
    return out
