#!/usr/bin/env python3
"""Changes the library at single points, spread evenly over its files, and tells which changes no test notices.

usage: scripts/mutate.py [--count N] [--seed N] [--jobs N] [--only TEXT] [--timeout SECONDS] [--stale]

Works on copies of the tree under build/mutation. A change that does not compile is replaced by another. Prints each
survivor with its change; writes all results to build/mutation/results.txt. Changes that no run can notice are listed in
scripts/equivalent-mutants.txt, each with the reason; entries of that list that match no change are named. The exit code
is 0 when at least 95 % of all other changes were noticed.
"""
import argparse
import concurrent.futures
import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutation"
EQUIVALENT = ROOT / "scripts" / "equivalent-mutants.txt"
LIBRARIES = "components/libraries"
TESTS = ["support_tests", "library_tests", "comparison_tests", "arithmetic_tests", "together_tests"]
TARGETS = [f"timecode_{name}" for name in TESTS]
NOTICED_SHARE = 0.95

REPLACEMENTS = [
    (r"(?<![<>\-=!])<=(?!>)", "<"), (r"(?<![<>\-=!])>=(?!>)", ">"),
    (r"(?<![<\w:>])\s<\s(?![<=])", " <= "), (r"(?<![>\-])\s>\s(?![>=])", " >= "),
    (r"==", "!="), (r"!=", "=="), (r"&&", "||"), (r"\|\|", "&&"),
    (r"\s\+\s", " - "), (r"\s-\s", " + "), (r"\s\*\s(?=[\w(])", " / "), (r"\s/\s", " * "), (r"\s%\s", " / "),
    (r"\+=", "-="), (r"-=", "+="), (r"\+\+", "--"), (r"(?<=[\s(])--(?=\w)", "++"),
    (r"\bTRUE\b", "FALSE"), (r"\bFALSE\b", "TRUE"), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"DBG_LEVEL_(ERROR|WARNING|NOTICE|INFO)\b", "DBG_LEVEL_DEBUG"), (r"DBG_LEVEL_DEBUG\b", "DBG_LEVEL_INFO"),
    (r"%d", "%i "), (r"%s", "%.1s"),
]


def code_lines(text):
    """Numbers of the lines that hold code: no comments, preprocessor lines or empty ones."""
    numbers, in_comment = [], False
    for number, line in enumerate(text.split("\n")):
        stripped = line.strip()
        if stripped.startswith("/*"):
            in_comment = True
        if not in_comment and stripped and not stripped.startswith(("//", "#", "*")):
            numbers.append(number)
        if in_comment and "*/" in stripped:
            in_comment = False
    return numbers


def is_statement(line):
    return bool(re.match(r"^\s{4,}(?!return\b|const\b|static\b|using\b|constexpr\b|auto\b|break\b|continue\b)"
                         r"[\w*&\[\].>:-]+(\(| [-+|&]?= |\+\+|--).*;\s*$", line)) and "= delete" not in line


def depend(first, second):
    """Whether one of two statements names what the other writes: only then does their order matter."""
    def written(line):
        match = re.search(r"(\w+)\s*(?:[-+|&]?= |\+\+|--|;|\()", line)
        return match.group(1) if match else ""
    return any(re.search(rf"\b{re.escape(written(a))}\b", b)
               for a, b in ((first, second), (second, first)) if written(a))


def message_lines(lines):
    """Numbers of the lines of trace statements: their arguments can be changed without the compiler's notice."""
    numbers, inside = [], False
    for number, line in enumerate(lines):
        inside = inside or bool(re.match(r"\s+(TC_TRACE|_DoDbgPrintEx)\(", line))
        if inside:
            numbers.append(number)
        inside = inside and not line.rstrip().endswith(";")
    return set(numbers)


def changes_of(path):
    """Every single-point change of a file: (line number, new text of the lines, how many lines it replaces, what)."""
    lines = path.read_text().split("\n")
    found = []
    messages = message_lines(lines)
    for number in code_lines("\n".join(lines)):
        line = lines[number]
        code = re.split(r"//|/\*", line)[0]
        if "static_assert" in code:  # the compiler's own tests
            continue
        for pattern, replacement in REPLACEMENTS:
            if code.strip().startswith(("template", "using", "struct")):
                continue
            for match in re.finditer(pattern, code):
                found.append((number, [line[:match.start()] + replacement + line[match.end():]], 1, "replace"))
        for match in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])", code):
            if "#" in code:
                continue
            value = str(int(match.group(1)) + 1)
            found.append((number, [line[:match.start()] + value + line[match.end():]], 1, "constant"))
        if number in messages:
            for match in re.finditer(r"(?:, |^ +)((?:static_cast<\w+>\()?[A-Za-z_][\w.>()-]*?)(?=,|\);)", code):
                if not match.group(1).startswith(("TC_TRACE", "_DoDbgPrintEx")):
                    found.append((number, [line[:match.start(1)] + "0" + line[match.end(1):]], 1, "argument"))
        if is_statement(line):
            found.append((number, [""], 1, "drop"))
            if number + 1 < len(lines) and is_statement(lines[number + 1]) and depend(line, lines[number + 1]):
                found.append((number, [lines[number + 1], line], 2, "swap"))
    return found


def describe(name, original, change):
    number, new, count, kind = change
    old = " | ".join(text.strip() for text in original[number:number + count])
    if re.fullmatch(r"return \w+;", old):  # such a line says too little of itself
        old = f"({original[number - 1].strip()}) {old}"
    return f"{name}:{number + 1}: {kind}: {old}  ->  {' | '.join(text.strip() for text in new)}".rstrip()


class Tree:
    """A copy of the project with a build of its own."""

    def __init__(self, index, timeout):
        self.folder = WORK / f"tree{index}"
        self.timeout = timeout
        self.folder.mkdir(parents=True, exist_ok=True)
        tracked = subprocess.run(["git", "ls-files"], cwd=ROOT, stdout=subprocess.PIPE, check=True, text=True)
        for name in tracked.stdout.splitlines():
            target = self.folder / name
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, target)  # as new, so that nothing of an earlier run's last change stays built
        self.run(["cmake", "-S", ".", "-B", "build", "-DCMAKE_BUILD_TYPE=Debug"], check=True)
        self.run(["cmake", "--build", "build", "-j2", "--target", *TARGETS], check=True)
        self.tests_pass_or_exit()

    def run(self, command, check=False, timeout=600):
        result = subprocess.run(command, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                timeout=timeout, check=False)
        if check and result.returncode != 0:
            sys.exit(result.stdout.decode(errors="replace"))
        return result.returncode == 0

    def tests_pass(self):
        for program in TESTS:
            try:
                if not self.run([f"build/bin/{program}", "--gtest_fail_fast", "--gtest_brief=1"], timeout=self.timeout):
                    return False
            except subprocess.TimeoutExpired:
                return False
        return True

    def tests_pass_or_exit(self):
        if not self.tests_pass():
            sys.exit("the tests fail without any change")

    def try_change(self, name, change):
        """None when it does not compile, else whether a test noticed it."""
        path = self.folder / name
        original = path.read_text()
        number, new, count, _ = change
        lines = original.split("\n")
        lines[number:number + count] = new
        path.write_text("\n".join(lines))
        try:
            if not self.run(["cmake", "--build", "build", "-j1", "--target", "timecode", "timecode_support"]):
                return None
            return not self.tests_pass()
        finally:
            path.write_text(original)


def work_through(tree, jobs):
    results = []
    for name, candidates in jobs:
        for change in candidates:
            noticed = tree.try_change(name, change)
            if noticed is not None:
                text = describe(name, (ROOT / name).read_text().split("\n"), change)
                print(("noticed   " if noticed else "SURVIVED  ") + text, flush=True)
                results.append((noticed, text))
                break
    return results


def pick(count, seed, only):
    """Slots spread over the files by their lines of code; each slot holds changes to try until one compiles."""
    generator = random.Random(seed)
    names = [name for name in library_files() if only in name]
    weights = {name: len(code_lines((ROOT / name).read_text())) for name in names}
    total = sum(weights.values())
    jobs = []
    for name in names:
        slots = max(1, round(count * weights[name] / total))
        changes = changes_of(ROOT / name)
        generator.shuffle(changes)
        for slot in range(min(slots, len(changes))):
            jobs.append((name, changes[slot::slots][:8]))
    return jobs


def without_line_number(text):
    return re.sub(r":\d+:", ":", text, count=1)


def library_files():
    return sorted(str(path.relative_to(ROOT)) for path in (ROOT / LIBRARIES).rglob("*")
                  if path.suffix in (".cpp", ".h"))


def known_equivalents():
    lines = EQUIVALENT.read_text().split("\n")
    return {line for line in lines if line and not line.startswith("#")}


def stale(equivalents):
    """Entries of the list that are no change of the library as it is."""
    possible = set()
    for name in library_files():
        lines = (ROOT / name).read_text().split("\n")
        possible.update(without_line_number(describe(name, lines, change)) for change in changes_of(ROOT / name))
    return sorted(equivalents - possible)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=160, help="changes to make (default 160), at least one a file")
    parser.add_argument("--seed", type=int, default=1, help="which changes (default 1)")
    parser.add_argument("--jobs", type=int, default=2, help="copies of the tree that work at once (default 2)")
    parser.add_argument("--only", default="", help="only files whose path holds this text")
    parser.add_argument("--timeout", type=int, default=60, help="seconds after which a test counts as failed")
    parser.add_argument("--stale", action="store_true",
                        help="only tell which entries of the list match no change; exit code 1 where one does not")
    arguments = parser.parse_args()
    equivalents = known_equivalents()
    unmatched = stale(equivalents)
    for entry in unmatched:
        print(f"{EQUIVALENT.name} matches no change: {entry}", flush=True)
    if arguments.stale:
        sys.exit(1 if unmatched else 0)
    WORK.mkdir(parents=True, exist_ok=True)
    jobs = pick(arguments.count, arguments.seed, arguments.only)
    trees = [Tree(index, arguments.timeout) for index in range(arguments.jobs)]
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        shares = [pool.submit(work_through, tree, jobs[index::len(trees)]) for index, tree in enumerate(trees)]
        results = [result for share in shares for result in share.result()]
    survivors = [text for noticed, text in results if not noticed]
    unexplained = [text for text in survivors if without_line_number(text) not in equivalents]
    verdicts = sorted(("noticed  " if n else "SURVIVED ") + t for n, t in results)
    (WORK / "results.txt").write_text("\n".join(verdicts) + "\n")
    noticed = len(results) - len(survivors)
    share = noticed / max(1, noticed + len(unexplained))
    print(f"\n{len(results)} changes, {len(survivors) - len(unexplained)} of them known to be without effect; "
          f"of the others {noticed} noticed, {len(unexplained)} not: {100 * share:.1f} % (seed {arguments.seed})")
    for text in unexplained:
        print("  " + text)
    sys.exit(0 if share >= NOTICED_SHARE else 1)


if __name__ == "__main__":
    main()
