"""The string literals of C++ sources, and which of them reach the log."""
import pathlib
import re

_TOKEN = re.compile(
    r'//[^\n]*|/\*.*?\*/'                # comments
    r'|"(?:[^"\\\n]|\\.)*"'              # literals
    r"|'(?:[^'\\\n]|\\.)*'"              # characters
    r'|[A-Za-z_]\w*|\s+|.', re.DOTALL)


def tokens(source):
    """Words, signs and literals; neighbouring literals as one, comments and preprocessor includes left out."""
    result = []
    for token in _TOKEN.findall(re.sub(r'^\s*#\s*include[^\n]*', '', source, flags=re.MULTILINE)):
        if token.isspace() or token.startswith(('//', '/*')):
            continue
        if token.startswith('"') and result and result[-1].startswith('"'):
            result[-1] = result[-1][:-1] + token[1:]
        else:
            result.append(token)
    return result


def plain(literal):
    """As it is seen: without the quotes, without line breaks at the end."""
    return re.sub(r'(\\r|\\n)+$', '', literal[1:-1]).replace('\\"', '"')


def sources(*folders):
    for folder in folders:
        path = pathlib.Path(folder)
        files = [path] if path.is_file() else sorted(path.rglob('*'))
        yield from (file for file in files if file.suffix in ('.cpp', '.h'))


def literals(*folders):
    return {plain(token) for file in sources(*folders) for token in tokens(file.read_text(encoding='utf-8'))
            if token.startswith('"')}


def arguments(all_tokens, start):
    """The literals between the parenthesis at `start` and its partner, by the number of the argument."""
    depth, number, found = 0, 0, {}
    for token in all_tokens[start:]:
        depth += {'(': 1, '{': 1, '[': 1, ')': -1, '}': -1, ']': -1}.get(token, 0)
        if depth == 0:
            return found
        if depth == 1 and token == ',':
            number += 1
        if token.startswith('"'):
            found.setdefault(number, plain(token))
    return found


# Calls that make a line, with the place of the text among the arguments; a definition has none there.
_CALLS = {'DbgPrint': 4, 'DbgPrintStdErr': 3, 'logLine': 0, 'setState': 1, 'report': 1}


def logged(*folders):
    """text -> file, of all that is handed to the log."""
    result = {}
    for file in sources(*folders):
        all_tokens = tokens(file.read_text(encoding='utf-8'))
        for i, token in enumerate(all_tokens[:-1]):
            if token in _CALLS and all_tokens[i + 1] == '(':
                text = arguments(all_tokens, i + 1).get(_CALLS[token])
                if text:
                    result[text] = str(file)
    return result
