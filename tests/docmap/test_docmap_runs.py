"""How the commands run and end: processes, signals, closed pipes, terminals, exit status."""

import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import time

import pytest
from trees import run, write_tree


def test_several_processes_print_what_one_prints(tmp_path):
    write_tree(tmp_path, {f"{n % 7}/{n:03}.md": f"# T{n}\n\n[a](x{n}.md)\n" for n in range(100)})
    for command in (["outline", "--json"], ["check"]):
        one, three = run(*command, tmp_path), run(*command, "--jobs", 3, tmp_path)
        assert one.stdout == three.stdout and one.stdout.count("\n") >= 100


@pytest.mark.long
def test_a_closed_pipe_ends_quietly(tmp_path):
    write_tree(tmp_path, {f"{n}.md": "# Title\n" * 300 for n in range(60)})
    for option in ([], ["--json"]):
        command = [sys.executable, "-m", "docmap", "outline", *option, str(tmp_path)]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdout.readline()
            process.stdout.close()
            assert process.stderr.read() == b""
            assert process.wait(60) == 128 + signal.SIGPIPE


def waiting_outline(folder, *options):
    """A command that reads a document, then waits for another at a pipe that nobody has written to."""
    os.mkfifo(folder / "pipe")
    write_tree(folder, {"a.md": "# A\n"})
    return [sys.executable, "-m", "docmap", "outline", *options, str(folder / "a.md"), str(folder / "pipe")]


@pytest.mark.parametrize("jobs", ["1", "2"])
def test_an_interrupt_ends_with_its_own_status(tmp_path, jobs):
    command = waiting_outline(tmp_path, "--jobs", jobs)
    with subprocess.Popen(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True
    ) as process:
        # Opening the pipe for writing succeeds once the command waits in it for text.
        with open(tmp_path / "pipe", "wb"):
            time.sleep(0.1)
            os.killpg(process.pid, signal.SIGINT)
            time.sleep(0.1)
        assert process.wait(60) == 130
        assert b"Traceback" not in process.stderr.read()


def test_an_interrupt_does_not_end_a_process_that_has_just_begun(tmp_path):
    program = """import os, signal
os.register_at_fork(after_in_child=lambda: os.kill(os.getpid(), signal.SIGINT))
from docmap.cli import main
main()"""
    write_tree(tmp_path, {f"{n}.md": "# A\n" for n in range(40)})
    command = [sys.executable, "-c", program, "outline", "-j2", str(tmp_path)]
    result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert result.returncode == 0 and result.stderr.count("\n") == 1, result.stderr


@pytest.mark.long
def test_an_interrupt_leaves_the_terminal_as_it_was(tmp_path):
    for name in ("first", "second"):
        os.mkfifo(tmp_path / name)
    ours, theirs = pty.openpty()
    command = [sys.executable, "-m", "docmap", "outline", str(tmp_path / "first"), str(tmp_path / "second")]
    environment = os.environ | {"TERM": "xterm"}
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=theirs, env=environment) as process:
        with open(tmp_path / "first", "wb"):
            time.sleep(1.2)  # The progress bar waits for a second.
        with open(tmp_path / "second", "wb"):
            time.sleep(0.3)
            process.send_signal(signal.SIGINT)
            assert process.wait(60) == 130
    shown = os.read(ours, 1 << 16).decode()
    assert "reading" in shown and "Traceback" not in shown
    hidden, seen = "\x1b[?25l", "\x1b[?25h"
    assert shown.count(hidden) == shown.count(seen) == 1 and shown.index(hidden) < shown.index(seen)


@pytest.mark.long
@pytest.mark.skipif(not os.path.exists("/proc/self/task"), reason="finds the processes in /proc")
@pytest.mark.parametrize(
    ("victim", "status", "said"),
    [
        pytest.param("children", 1, rb"docmap: a process was killed .*\n", id="a worker"),
        pytest.param("parent", 143, rb"", id="the command"),
    ],
)
def test_a_killed_process_ends_the_run_in_a_line(tmp_path, victim, status, said):
    command = waiting_outline(tmp_path, "-j2")
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        with open(tmp_path / "pipe", "wb"):
            children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
            if victim == "parent":
                process.send_signal(signal.SIGTERM)
                time.sleep(0.3)
            else:
                os.kill(int(children[0]), signal.SIGKILL)
                os.kill(int(children[-1]), signal.SIGKILL)
        assert process.wait(60) == status
        assert re.fullmatch(said, process.stderr.read())
    assert not any(os.path.exists(f"/proc/{child}") for child in children)


@pytest.mark.long
@pytest.mark.parametrize(
    ("typed", "offered"),
    [
        pytest.param("docmap o", ["outline"], id="command"),
        pytest.param("docmap check --st", ["--strict"], id="option"),
    ],
)
def test_the_shell_completes(typed, offered):
    script = f"""
        source <(docmap --show-completion bash)
        COMP_WORDS=({typed}) COMP_CWORD={len(typed.split()) - 1}
        _docmap_completion docmap && printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    path = f"{os.path.dirname(sys.executable)}:{os.environ['PATH']}"
    environment = os.environ | {"PATH": path}
    shown = subprocess.run(
        ["bash", "-c", script], capture_output=True, text=True, env=environment, check=False
    )
    assert shown.stdout.split() == offered, shown.stderr


@pytest.mark.parametrize(
    ("arguments", "status"),
    [
        pytest.param(["--version"], 0, id="version"),
        pytest.param(["outline"], 2, id="no path"),
        pytest.param(["outline", "--jobs", "0", "."], 2, id="no process"),
        pytest.param(["check", "/no/such/folder"], 2, id="check: no such path"),
        pytest.param(["outline", ".", "/no/such/file.md"], 2, id="outline: no such path"),
        pytest.param(["page", "/no/such/folder", "-o", "-"], 2, id="page: no such path"),
        pytest.param(["check", "--format", "xml", "."], 2, id="no such format"),
        pytest.param(["check", "--site", "docs=nothing", "."], 2, id="no such kind of site"),
        pytest.param(["check", "-"], 2, id="links of standard input lead from no folder"),
    ],
)
def test_status(arguments, status):
    assert run(*arguments).exit_code == status


@pytest.mark.parametrize("command", ["outline", "check", "page"])
def test_without_a_host_one_line_says_what_to_install(tmp_path, command):
    program = "import sys; sys.modules['quarnel'] = None; from docmap.cli import main; main()"
    write_tree(tmp_path, {"a.md": "# A\n"})
    run = subprocess.run(
        [sys.executable, "-c", program, command, str(tmp_path)],
        capture_output=True,
        text=True,
        cwd=tmp_path,
        # What an earlier run has kept would do without a host.
        env=os.environ | {"XDG_CACHE_HOME": str(tmp_path / "cache")},
    )
    assert (run.returncode, run.stdout, run.stderr.count("\n")) == (1, "", 1)
    assert "docmap[stand-in]" in run.stderr


def shell(script, folder, **environment):
    docmap = {"DOCMAP": f"{sys.executable} -m docmap"}
    return subprocess.run(
        ["bash", "-c", script], capture_output=True, text=True, cwd=folder, timeout=30, check=False,
        env=os.environ | docmap | environment,
    )  # fmt: skip


@pytest.mark.parametrize(
    ("script", "status", "said"),
    [
        pytest.param("$DOCMAP check --no-cache . >&-", 2, "standard output: not writable", id="closed"),
        pytest.param("$DOCMAP check --no-cache . >/dev/full", 2, "standard output: No space left", id="full"),
        pytest.param("$DOCMAP outline . >/dev/full", 2, "standard output: No space left", id="outline, full"),
        pytest.param("$DOCMAP --help >/dev/full", 2, "standard output: No space left", id="help, full"),
        pytest.param("$DOCMAP check --no-cache a.md >&-", 0, "0 broken", id="closed, and nothing to write"),
        pytest.param(
            "mkdir gone && cd gone && rmdir ../gone && $DOCMAP check", 1, "the current folder: No such file",
            id="the current folder is gone",
        ),
        pytest.param("mkfifo p.md && $DOCMAP check --no-cache p.md", 1, "p.md: not a regular file", id="a pipe"),
        pytest.param("mkfifo book.toml && $DOCMAP check --no-cache a.md", 0, "0 broken", id="settings in a pipe"),
    ],
)  # fmt: skip
def test_surroundings_that_fail_are_named_in_one_line(tmp_path, script, status, said):
    write_tree(tmp_path, {"a.md": "# A\n", "b.md": "[x](none.md)\n", ".git/HEAD": ""})
    result = shell(script, tmp_path)
    assert said in result.stderr.splitlines()[0] and "Traceback" not in result.stderr
    assert result.returncode == status


def test_a_relative_cache_folder_is_passed_over(tmp_path):
    write_tree(tmp_path, {"a.md": "# A\n", ".git/HEAD": ""})
    assert (
        shell("$DOCMAP check", tmp_path, XDG_CACHE_HOME="kept", HOME=str(tmp_path / "home")).returncode == 0
    )
    assert not (tmp_path / "kept").exists() and (tmp_path / "home/.cache/docmap").exists()
