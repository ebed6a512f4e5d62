"""Checks the bash completions against the programs' own --help, and in bash itself: completion_test.py SOURCE_FOLDER BUILD_FOLDER"""
import os
import re
import subprocess
import sys
import tempfile

SOURCE, BUILD = map(os.path.abspath, sys.argv[1:])
PROGRAMS = ("vorin-stylize", "vorin-pack")
faults = []


def completion(program):
    return os.path.join(SOURCE, "scripts", "completions", program)


def help_of(program, *command):
    return subprocess.run([os.path.join(BUILD, program), *command, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout


def commands_in(text):
    return re.findall(r"^  ([a-z]+) ", text.partition("\nSubcommands:\n")[2].partition("\n\n")[0], re.MULTILINE)


def expect_equal(what, found, wanted):
    if found != wanted:
        faults.append(f"{what}: {found}, expected {wanted}")


def check_options(program):
    """The words behind "-" are, for each command, the options of its --help."""
    with open(completion(program), encoding="utf-8") as file:
        script = file.read()
    offered = {command: set(words.split()) for command, words in re.findall(r'^ +"?([^")\n]+?)"?\) how=\(-W "(-[^"]*)"\)', script, re.MULTILINE)}
    own_help = help_of(program)
    commands = commands_in(own_help)
    helps = {command: help_of(program, command) for command in commands} | {"*": own_help}
    for command in commands:
        helps |= {f"{command} {inner}": help_of(program, command, inner) for inner in commands_in(helps[command])}
    expect_equal(f"{program}: commands with options", sorted(offered), sorted(helps))
    for command in offered.keys() & helps.keys():
        names = ",".join(re.findall(r"^  (-[\w,-]+)", helps[command], re.MULTILINE)).split(",")
        expect_equal(f"{program} {command}: options", sorted(offered[command]), sorted(set(names)))
    listed = re.search(r'how\+=\(-W "([^"]*)"\)', script)[1].split()
    expect_equal(f"{program}: commands", sorted(listed), sorted(commands))
    for option, words in re.findall(r'^ +(--\S+)\) how=\(-W "([^"]*)"\)', script, re.MULTILINE):
        unknown = [word for word in words.split() if word not in "".join(helps.values())]
        expect_equal(f"{program} {option}: values that no help names", unknown, [])


def check_offers(folder):
    """What bash offers for the last word of a line, its names of files with blanks included."""
    os.mkdir(os.path.join(folder, "my folder"))
    with open(os.path.join(folder, "my picture.jpg"), "wb"):
        pass
    both = ["my folder", "my picture.jpg"]
    for line, wanted in {
            "vorin-stylize --style ''": ["cartoon", "lightgrey", "pencil", "stipple", "transfer"],
            "vorin-stylize --style = p": ["pencil"],  # bash takes --style=p apart
            "vorin-stylize --device =": ["auto", "discrete", "integrated", "software"],
            "vorin-stylize --style-image my": both,
            "vorin-stylize --crf ''": [],
            "vorin-stylize --keep-c": ["--keep-colors"],
            "vorin-stylize sel": ["selftest"],
            "vorin-stylize --overwrite my": both,
            "vorin-stylize --models my": ["my folder"],
            "vorin-stylize info --m": ["--models"],
            "vorin-stylize info --st": [],
            "vorin-pack build p.bin --as car": ["cartoon"],
            "vorin-pack ver": ["verify"]}.items():
        program = line.split()[0]
        script = (f"set -u; source '{completion(program)}'; COMP_WORDS=({line}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); COMPREPLY=(); "
                  f"_{program.replace('-', '_')}; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
        run = subprocess.run(["bash", "-c", script], cwd=folder, capture_output=True, text=True, check=False)
        expect_equal(line, sorted(run.stdout.split("\n")[:-1]), wanted or [""])
        expect_equal(f"{line}: errors", run.stderr, "")


for each in PROGRAMS:
    check_options(each)
with tempfile.TemporaryDirectory() as work:
    check_offers(work)
print("\n".join(faults) or "completion_test: the completions offer what the programs take")
sys.exit(1 if faults else 0)
