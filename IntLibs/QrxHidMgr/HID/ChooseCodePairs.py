#!/usr/bin/env python3
"""Chooses the pairs of codes that shorten the words of the usage tables most, and prints UsageTables.pairs.

    cmake -DINPUT=UsageTables.tsv -DOUTPUT=words.cpp -P GenerateUsageTables.cmake
    ./ChooseCodePairs.py words.cpp > UsageTables.pairs

The most frequent pair of neighbours gets a code of its own, again and again, until no code is left. After a change of
the tables the old pairs still work, unless it brings a letter whose code a pair has, but they shorten the words less: a
test demands the pairs of the tables as they are.
"""
import collections
import re
import sys

WORD_ENDS = 8

with open(sys.argv[1], encoding="ascii") as source:
    numbers = re.search(r"kWords\[\] = {([^}]*)}", source.read()).group(1)
words = [[]]
for code in re.findall("0x(..)", numbers):
    words[-1].append(int(code, 16))
    if words[-1][-1] < WORD_ENDS:
        words.append([])

letters = {code for word in words for code in word}
texts = {code: chr(code) if code >= WORD_ENDS else f"|{code}" for code in letters}

print("# Pairs of codes in the words of the usage tables, most frequent first, as ChooseCodePairs.py chooses them.")
print("# Columns: code of the pair, its left and its right code, what it stands for (|n: a word ends and the next shares")
print("# n of its letters).")
for code in sorted(set(range(WORD_ENDS, 0x100)) - letters):
    counts = collections.Counter(pair for word in words for pair in zip(word, word[1:]))
    left, right = max(counts, key=lambda pair: (counts[pair], pair))
    texts[code] = texts[left] + texts[right]
    print(f"{code:02x} {left:02x} {right:02x} {texts[code]}")
    for word in words:
        place = 0
        while (place := place + 1) < len(word):
            if word[place - 1 : place + 1] == [left, right]:
                word[place - 1 : place + 1] = [code]
