"""Runs what a document shows: the commands of its console blocks in one bash, the examples of its pycon blocks in
one interpreter, in their order, and compares what they print. For /tmp it has a folder that is removed.

usage: shell_and_python_test.py DOCUMENT
"""
import doctest
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^```(console|pycon)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMAND = re.compile(r"^\$ (.*\n(?:>(?: .*)?\n)*)((?:(?!\$ ).*\n)*)", re.MULTILINE)
END = "-- end of the command"


class Console:
    """A bash that runs command after command."""

    def __init__(self):
        self.bash = subprocess.Popen(["bash"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True)

    def run(self, command):
        self.bash.stdin.write(f"{command}echo '{END}'\n")
        self.bash.stdin.flush()
        return "".join(iter(self.bash.stdout.readline, END + "\n"))

    def check(self, block):
        """Runs a block's commands; returns how many there are, and how many print something else."""
        found = COMMAND.findall(block)
        return len(found), sum(not self.prints(re.sub("\n> ?", "\n", command), expected) for command, expected in found)

    def prints(self, command, expected):
        shown = self.run(command)
        if without_measures(shown) == without_measures(expected):
            return True
        print(f"$ {command}is to print\n{expected}and prints\n{shown}")
        return False

    def end(self):
        self.bash.communicate("kill $(jobs -p); wait\n")


def without_measures(text):
    """A measure has a decimal point, or is in microseconds; columns move with it."""
    return re.sub(r" +", " ", re.sub(r'[\d,]*\d\.\d+|(?<="microseconds":)\d+', "0.0", text))


class Interpreter:
    def __init__(self):
        self.runner = doctest.DocTestRunner()
        self.names = {}

    def check(self, block):
        test = doctest.DocTestParser().get_doctest(block, self.names, "document", None, None)
        failed, count = self.runner.run(test, clear_globs=False)
        self.names = test.globs
        return count, failed


def main():
    document = pathlib.Path(sys.argv[1])
    checkers = {"console": Console(), "pycon": Interpreter()}
    count = failed = 0
    with tempfile.TemporaryDirectory() as work:
        for kind, block in BLOCK.findall(document.read_text()):
            results = checkers[kind].check(block.replace("/tmp/", f"{work}/"))
            count, failed = count + results[0], failed + results[1]
        checkers["console"].end()
    print(f"{document.name}: {count} commands and examples, {failed} print something else")
    sys.exit(1 if failed or not count else 0)


if __name__ == "__main__":
    main()
