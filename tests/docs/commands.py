#!/usr/bin/env python3
"""Holds the commands in README.md and docs/*.md to the tool, the scripts and the build as they are.

usage: commands.py SOURCE_FOLDER LINKAPP [list]

Every fenced block without a language, or with "sh", must stand in blocks.txt, with what is done about it:

  text       no command in it: a picture, an output, a file
  session    typed here: the two terminals, in a /dev/shm of its own
  run        run here by bash, beside a channel with a phone and an application
  elsewhere  run by the file that the list names
  person     by hand: the list says what a test cannot have

In all but text, subcommands and options of the tool and of the scripts, presets and variables of the build must exist.
With "list", the lines for blocks.txt of the blocks that are not on it are printed.
"""
import json
import pathlib
import re
import shlex
import subprocess
import sys
import threading

import markdown

KINDS = ('text', 'session', 'run', 'elsewhere', 'person')
PATIENCE = 60  # seconds, for what happens at once


class Complaint(Exception):
    pass


# What a document says ------------------------------------------------------------------------------------------------

def blocks_of(root):
    for path in [root / 'README.md', *sorted((root / 'docs').rglob('*.md'))]:
        for number, language, text in markdown.split(path.read_text(encoding='utf-8'))[1]:
            if language in ('', 'sh'):
                yield f'{path.relative_to(root)}', number, text


def first_line(text):
    return next((line.strip() for line in text.splitlines() if line.strip()), '')


def read_list(path):
    result = {}
    for line in path.read_text(encoding='utf-8').splitlines():
        if line and not line.startswith('#'):
            kind, document, reason, first = line.split(' | ', 3)
            if kind not in KINDS or (kind in ('elsewhere', 'person') and not reason):
                raise Complaint(f'blocks.txt: {line}')
            if (document, first) in result:
                raise Complaint(f'blocks.txt: twice: {line}')
            result[document, first] = (kind, reason)
    return result


def command_lines(text):
    """The commands of a block, continued lines joined, prompts and comments gone. Lines of output are not told apart
    where no line has a prompt; then all count."""
    lines = text.replace('\\\n', ' ').splitlines()
    prompted = [line[2:] for line in lines if line.startswith('$ ')]
    return [line for line in prompted or lines
            if line.strip() and not line.startswith('#') and not re.match(r'[a-z]+> ', line)]


# Whether it exists ---------------------------------------------------------------------------------------------------

class Existence:
    def __init__(self, root, linkapp):
        self.root, self.linkapp, self.pages = root, linkapp, {}
        self.presets = {preset['name'] for preset in
                        json.loads((root / 'CMakePresets.json').read_text(encoding='utf-8'))['configurePresets']}
        self.build = '\n'.join(path.read_text(encoding='utf-8') for pattern in ('CMakeLists.txt', '*.cmake')
                               for path in root.rglob(pattern) if 'build' not in path.relative_to(root).parts[:1])

    def help_of(self, *command):
        if command not in self.pages:
            self.pages[command] = subprocess.run([*command, '--help'], stdin=subprocess.DEVNULL, capture_output=True,
                                                 text=True, timeout=PATIENCE, check=True).stdout
        return self.pages[command]

    def check(self, line):
        for words in self.split(line):
            if words[0] == 'linkapp':
                self.check_linkapp(words)
            elif words[0].startswith(('script/', '.ci/')):
                self.check_script(words)
            elif words[0] == 'cmake':
                self.check_cmake(words)

    @staticmethod
    def split(line):
        """The words of each command of a line."""
        lexer = shlex.shlex(line, posix=True, punctuation_chars='|&;<>()')
        lexer.whitespace_split = True
        commands = [[]]
        for word in lexer:
            if re.fullmatch(r'[|&;()]+', word):
                commands.append([])
            else:
                commands[-1].append(word)
        return [words for words in commands if words]

    @staticmethod
    def options(words):
        before = words[:words.index('--')] if '--' in words else words
        return [word.split('=')[0] for word in before if re.match(r'--?[A-Za-z]', word)]

    def need(self, option, page, whose):
        if not re.search(rf'(?<![\w-]){re.escape(option)}(?![\w-])', page):
            raise Complaint(f'{whose} has no {option}')

    def check_linkapp(self, words):
        if len(words) < 2 or words[1].startswith('-'):
            return
        if not re.search(rf'^  {re.escape(words[1])} ', self.help_of(self.linkapp), re.MULTILINE):
            raise Complaint(f'linkapp has no {words[1]}')
        for option in self.options(words[2:]):
            self.need(option, self.help_of(self.linkapp, words[1]), f'linkapp {words[1]}')

    def check_script(self, words):
        script = self.root / words[0]
        if not script.is_file() or not script.stat().st_mode & 0o100:
            raise Complaint(f'there is no {words[0]}')
        for option in self.options(words[1:]):
            self.need(option, self.help_of(str(script)), words[0])

    def check_cmake(self, words):
        for i, word in enumerate(words):
            variable = re.match(r'-D((?:LINKAPP|CONFORMANCE)_\w+)', word)
            if variable and not re.search(rf'\b{variable.group(1)}\b', self.build):
                raise Complaint(f'the build has no {variable.group(1)}')
            if word == '--preset' and words[i + 1] not in self.presets:
                raise Complaint(f'there is no preset {words[i + 1]}')
            if word == '-S' and not (self.root / words[i + 1] / 'CMakeLists.txt').exists():
                raise Complaint(f'there is no {words[i + 1]}/CMakeLists.txt')


# What it does --------------------------------------------------------------------------------------------------------

class Process:
    """A process of the tool: commands in, lines of JSON out."""

    def __init__(self, command):
        self.name = command[1]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.lines = []
        self.changed = threading.Condition()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        for line in self.process.stdout:
            with self.changed:
                self.lines.append(json.loads(line))
                self.changed.notify_all()

    def wait(self, condition, since, what):
        with self.changed:
            if not self.changed.wait_for(lambda: any(map(condition, self.lines[since:])), PATIENCE):
                raise Complaint(f'{self.name}: {what} did not come')
            return next(filter(condition, self.lines[since:]))

    def obey(self, command):
        since = len(self.lines)
        self.process.stdin.write(command + '\n')
        self.process.stdin.flush()
        return self.wait(lambda line: 'reply' in line, since, f'the reply to {command}')

    def end(self):
        self.process.stdin.close()
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Complaint(f'{self.name} does not end with its input')


def type_session(linkapp, text):
    """Starts what is started, types what is typed. What is sent must come back: the phone's app is an echo."""
    processes, sent = {}, None
    for line in text.splitlines():
        line = re.sub(r'\s+#.*', '', line).strip()
        prompt = re.match(r'(\w+)> (.*)', line)
        if prompt is None:
            words = shlex.split(line)
            extra = ['--json'] + (['--commands'] if words[1] == 'app' else [])
            processes[words[1]] = Process([linkapp, *words[1:], *extra])
            processes[words[1]].wait(lambda one: one.get('event') == 'ready', 0, 'ready')
            continue
        process, command = processes[prompt.group(1)], prompt.group(2)
        if command.startswith('send '):
            process.wait(lambda one: one.get('usb.status', one.get('usb', {}).get('status')
                                             if isinstance(one.get('usb'), dict) else None) == 2, 0, 'the session')
            sent = command.split(' ', 1)[1]
        reply = process.obey(command)
        if not reply['ok'] or reply.get('accepted') is False:
            raise Complaint(f'{line}: {reply}')
    if sent is None:
        raise Complaint('nothing is sent')
    processes['app'].wait(lambda one: one.get('event') == 'onReceivedMsg' and one.get('text') == sent, 0, 'the echo')
    for process in reversed(list(processes.values())):
        if process.end() != 0:
            raise Complaint(f'{process.name} ends with an error')


def run_block(root, linkapp, text):
    """Beside a phone that is connected. The tool is found as `linkapp`."""
    phone = Process([linkapp, 'phone', '--json'])
    try:
        phone.wait(lambda one: one.get('event') == 'ready', 0, 'ready')
        run = subprocess.run(['bash', '-euo', 'pipefail', '-c', '\n'.join(command_lines(text))], cwd=root, text=True,
                             timeout=PATIENCE, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                             env={'PATH': f'{pathlib.Path(linkapp).parent}:/usr/bin:/bin', 'HOME': '/nonexistent'})
        if run.returncode != 0:
            raise Complaint(f'exit code {run.returncode}: {run.stderr.strip()}')
    finally:
        phone.end()


def check_block(existence, root, kind, reason, text):
    if kind == 'text' and re.search(r'^(\$ )?(linkapp|script/|\.ci/|cmake|ctest|ninja|sudo|build/)', text, re.M):
        raise Complaint('there are commands in it, and the list calls it text')
    for line in command_lines(text) if kind != 'text' else []:
        existence.check(line)
    if kind == 'session':
        type_session(existence.linkapp, text)
    elif kind == 'run':
        run_block(root, existence.linkapp, text)
    elif kind == 'elsewhere' and not (root / reason).is_file():
        raise Complaint(f'there is no {reason}')


def main(root, linkapp):
    root, linkapp = pathlib.Path(root).resolve(), str(pathlib.Path(linkapp).resolve())
    known = read_list(pathlib.Path(__file__).parent / 'blocks.txt')
    existence = Existence(root, linkapp)
    complaints, seen, counts = [], set(), dict.fromkeys(KINDS, 0)
    for document, number, text in blocks_of(root):
        key = (document, first_line(text))
        if key in seen:
            complaints.append(f'{document}:{number}: two blocks begin alike')
        seen.add(key)
        if key not in known:
            complaints.append(f'{document}:{number}: not on the list: {key[1]}')
            continue
        counts[known[key][0]] += 1
        try:
            check_block(existence, root, *known[key], text)
        except Complaint as complaint:
            complaints.append(f'{document}:{number}: {complaint}')
    complaints += [f'on the list, and in no document: {" | ".join(key)}' for key in known.keys() - seen]
    print(', '.join(f'{count} {kind}' for kind, count in counts.items()))
    return complaints


def print_missing(root):
    root = pathlib.Path(root).resolve()
    known = read_list(pathlib.Path(__file__).parent / 'blocks.txt')
    for document, _, text in blocks_of(root):
        if (document, first_line(text)) not in known:
            print(f'text | {document} |  | {first_line(text)}')


if __name__ == '__main__':
    if sys.argv[3:] == ['list']:
        print_missing(sys.argv[1])
        sys.exit()
    problems = main(sys.argv[1], sys.argv[2])
    print('\n'.join(problems))
    sys.exit(1 if problems else 0)
