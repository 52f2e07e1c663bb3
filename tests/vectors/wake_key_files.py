# SPDX-License-Identifier: MIT
"""Key files that make_wake_vectors.py tries: each holds the usual key in some form, or something like it."""


def key_files(n):
    """(comment, text or None)"""
    modulus, exponent = f"PublicKeyN={n:0256x}", "PublicKeyE=010001"
    usual = f"{modulus}\n{exponent}\n"
    yield "there is none", None
    yield "empty", ""
    yield "the exponent first", f"{exponent}\n{modulus}\n"
    yield "upper-case digits", f"PublicKeyN={n:0256X}\n{exponent}\n"
    yield "no end of the last line", f"{modulus}\n{exponent}"
    yield "the modulus last, without an end of its line", f"{exponent}\n{modulus}"
    yield "comments and empty lines", f"# a key\n\n{modulus}\n\n#\n{exponent}\n\n"
    yield "a comment of 267 characters", "#" * 267 + "\n" + usual
    yield "a comment of 268 characters without an end", usual + "#" * 268
    yield "an exponent of eight digits behind the good one is skipped", usual + "PublicKeyE=00010001\n"
    yield "the right modulus behind a wrong one", "PublicKeyN=" + "f" * 256 + "\n" + usual
    yield "a later line overwrites only what it is long", usual + f"PublicKeyN={n:0256x}"[:15] + "\n"

    yield "no modulus", f"{exponent}\n"
    yield "no exponent", f"{modulus}\n"
    yield "a modulus without digits", f"PublicKeyN=\n{exponent}\n"
    yield "a modulus of 254 digits", f"{modulus[:-2]}\n{exponent}\n"
    yield "a modulus of 255 digits", f"{modulus[:-1]}\n{exponent}\n"
    yield "a modulus of 255 digits, the first one missing", f"PublicKeyN={n:0256x}".replace("=a", "=") + f"\n{exponent}\n"
    yield "a modulus cut in the middle of the file", f"{exponent}\n{modulus[:140]}"
    yield "an exponent of five digits", f"{modulus}\nPublicKeyE=10001\n"
    yield "an exponent of five digits without an end of its line", f"{modulus}\nPublicKeyE=10001"
    yield "an exponent of two digits", f"{modulus}\nPublicKeyE=03\n"
    yield "an exponent of seven digits, which are four bytes with the end of the line", f"{modulus}\nPublicKeyE=0100010\n"
    yield "a wrong modulus behind the right one", usual + "PublicKeyN=" + "f" * 256 + "\n"
    yield "a wrong exponent behind the right one", usual + "PublicKeyE=000003\n"
    yield "names in small letters", usual.lower()
    yield "blanks in front", "".join(f" {line}\n" for line in usual.splitlines())
    yield "a byte order mark in front", "\ufeff" + usual
    yield "0x in front of the digits", f"PublicKeyN=0x{n:0256x}"[:267] + f"\n{exponent}\n"
    yield "a digit that is none counts as 0", f"{modulus[:-1]}g\n{exponent}\n"
    yield "a blank behind the equals sign", f"PublicKeyN= {n:0256x}"[:267] + f"\n{exponent}\n"

    yield "line ends of carriage return and line feed", usual.replace("\n", "\r\n")
    yield "a modulus of 258 digits", f"{modulus}00\n{exponent}\n"
    yield "a blank and a line feed behind the modulus", f"{modulus} \n{exponent}\n"
    yield "a comment of 268 characters in front", "#" * 268 + "\n" + usual
    yield "a comment of 300 characters in front", "#" * 300 + "\n" + usual
    yield "a comment of 300 characters behind", usual + "#" * 300 + "\n"
    yield "a comment of 2000 characters", usual + "#" * 2000 + "\n"
    yield "an exponent of 300 digits", f"{modulus}\nPublicKeyE=" + "0" * 294 + "010001\n"
