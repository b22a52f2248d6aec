"""Where the threads of a process stand: for tests that find one which does not end."""
import pathlib
import shutil
import subprocess


def text_of(path):
    try:
        return path.read_text(errors="replace").strip()
    except OSError as error:
        return f"({error.strerror})"


def kernel_side(pid):
    """What each thread waits for in the kernel, and where libraries lie, for frames that a debugger cannot name."""
    for task in sorted(pathlib.Path(f"/proc/{pid}/task").iterdir(), key=lambda task: int(task.name)):
        status = text_of(task / "status")
        facts = [line for line in status.splitlines() if line.startswith(("State", "SigPnd", "ShdPnd", "SigBlk"))]
        yield f"thread {task.name} {text_of(task / 'comm')}: {'; '.join(facts)}"
        yield f"  waits in {text_of(task / 'wchan')}, system call {text_of(task / 'syscall')}"
        yield "  " + text_of(task / "stack").replace("\n", "\n  ")
    for line in text_of(pathlib.Path(f"/proc/{pid}/maps")).splitlines():
        if "QoLiveReport" in line or "r-xp" in line:
            yield line


def user_side(pid):
    gdb = shutil.which("gdb")
    if not gdb:
        return "(gdb is not installed)"
    command = [gdb, "-p", str(pid), "-batch", "-nx", "-ex", "set pagination off", "-ex", "thread apply all backtrace 40"]
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False,
                              encoding="utf-8", errors="replace").stdout
    except subprocess.TimeoutExpired:
        return "(gdb did not come to an end)"


def stacks_of(pid):
    try:
        return "\n".join(kernel_side(pid)) + "\n" + user_side(pid)
    except OSError as error:
        return f"(no stacks of process {pid}: {error.strerror})"
