# Tables of cases in text files: paragraphs, each of them a test.
#
#   # A comment.
#   WORD := TEXT             a word of the file, {WORD} in its cells
#   WORD := TEXT | TEXT      for Kaspersky and for BitDefender-format bases
#
#   == HEADER                begins a paragraph
#   CELL | CELL | CELL       a row of it
#     CELL | CELL            the row goes on
#
# In a cell \n, \r, \t, \\ and \xHH are escapes, {} is nothing, {3*ab} is "ababab".
# {WORD x,y} is the word "WORD *" once for x and once for y. The words of cases/words.txt
# are everybody's.
import os
import re

ESCAPES = {"n": "\n", "r": "\r", "t": "\t", "\\": "\\"}


# The words of a file and its paragraphs. A paragraph: the header, and its rows as (FILE:LINE,
# text).
def read_table(path):
    words, paragraphs = {"": ""}, []
    for file in path.with_name("words.txt"), path:
        for number, line in enumerate(file.read_text().split("\n"), 1):
            if line.startswith("== "):
                rows = []
                paragraphs.append((line[3:], rows))
            elif " := " in line:
                word, text = line.split(" := ", 1)
                words[word] = text
            elif line.startswith(" "):
                rows[-1] = (rows[-1][0], rows[-1][1] + line.lstrip())
            elif line and line[0] != "#":
                rows.append((f"{path.name}:{number}", line))
    return words, paragraphs


def expand(cell, words):
    def meaning(match):
        code, escape, word = match.groups()
        name, _, values = word.partition(" ") if word else ("", "", "")
        if code:
            return os.fsdecode(bytes([int(code, 16)]))
        if escape:
            return ESCAPES[escape]
        if "*" in word:
            times, text = word.split("*", 1)
            return int(times) * text
        if not values:
            return expand(words[word], words)
        texts = [words[name + " *"].replace("*", value) for value in values.split(",")]
        return "".join(expand(text, words) for text in texts)

    return re.sub(r"\\x(..)|\\(.)|{(.*?)}", meaning, cell)


def cells_of(row, words):
    return [expand(cell, words) for cell in row.removesuffix(" | ").split(" | ")]
