"""What a change does to the text of one place: a number, a string, an operator."""

import re

COMPARISONS = {"==": "!=", "!=": "==", ">=": ">", "<=": "<", "<": "<=", ">": ">="}
SWAPS = COMPARISONS | {
    "&&": "||", "||": "&&", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<", "+": "-", "-": "+", "*": "/",
    "/": "*", "%": "/",
}  # fmt: skip
ASSIGNMENTS = {"|=": "&=", "&=": "|=", "^=": "|=", "+=": "-=", "-=": "+=", "<<=": ">>=", ">>=": "<<=", "*=": "/="}
NUMBER = re.compile(r"(0[xX][0-9A-Fa-f']+|0[bB][01']+|\d[\d']*\.\d+|\d[\d']*)([uUlLzZfF]*)$")
STRING = re.compile(r'(?P<open>(?:u8|L)?"|R"\()(?P<text>.*)(?P<close>\)?")$', re.S)
# Escapes and conversions stay whole: a broken one would show as a crash instead of as a wrong text.
STRING_PART = re.compile(r"\\(?:x[0-9A-Fa-f]+|[0-7]{1,3}|.)|%[-+ #0-9.*]*(?:hh|h|ll|l|z)?[A-Za-z%]|.", re.S)


def changed_number(token):
    """The literal that is one more; None for what is no number."""
    match = NUMBER.match(token)
    if not match:
        return None
    text, suffix = match.group(1).replace("'", ""), match.group(2)
    if text[:2] in ("0x", "0X"):
        digits = text[2:]
        return f"0x{int(digits, 16) + 1:0{len(digits)}X}{suffix}"
    if text[:2] in ("0b", "0B"):
        return f"{int(text[2:], 2) + 1}{suffix}"
    if "." not in text:
        return f"{int(text, 8 if len(text) > 1 and text[0] == '0' else 10) + 1}{suffix}"
    # The first digit that is not 0: a later one may be beyond what a double holds.
    at = next((i for i, digit in enumerate(text) if digit in "123456789"), 0)
    return text[:at] + str(int(text[at]) % 9 + 1) + text[at + 1 :] + suffix


def changed_string(token):
    """Changes the middle one of the plain characters; a string without any gets one more in front."""
    match = STRING.match(token)
    if not match or not match.group("text"):
        return None
    text = match.group("text")
    if match.group("open").startswith("R"):
        plain = [i for i, letter in enumerate(text) if letter.isalnum()]
    else:
        plain = [part.start() for part in STRING_PART.finditer(text) if len(part.group()) == 1]
    if plain:
        at = plain[len(plain) // 2]
        text = text[:at] + ("Q" if text[at] != "Q" else "X") + text[at + 1 :]
    else:
        text = "Q" + text
    return match.group("open") + text + match.group("close")


COMMENT = re.compile(r'("(?:\\.|[^"\\\n])*")|//[^\n]*|/\*.*?\*/', re.S)


def flat(text):
    """The text on one line, without its comments."""
    text = COMMENT.sub(lambda match: match.group(1) or " ", text)
    return re.sub(r"\s*\n\s*", " ", text).strip()
