#!/usr/bin/env python3
"""The binding's table of kernels, from the library's kernel list: kernel_table.py JSON OUT."""
import json
import sys


def literal(text):
    return 'R"~(' + text + ')~"'


def main():
    source, target = sys.argv[1:]
    with open(source, encoding="ascii") as file:
        kernels = json.load(file)["kernels"]
    with open(target, "w", encoding="ascii") as file:
        for k in kernels:
            variants = ", ".join("{Level::%s, {%s}}" % (v["level"], ", ".join(
                "Level::" + d for d in v["demands"])) for v in k["levels"])
            function = "false" if k["kind"] == "entry" else "true"
            file.write(f'{{"{k["name"]}", {literal(k["prototype"])}, {literal(k["text"])}, '
                       f"{function}, {{{variants}}}}},\n")


if __name__ == "__main__":
    main()
