#!/usr/bin/env python3
"""Logs in with the password on standard input, writes a file on the token, reads it back and lists the root."""
import sys

import ksigil

PATH = "3f001234"
NOTE = b"a note\n"


def work(password):
    with ksigil.open() as token, token.lock():
        token.login(password.encode())
        try:
            token.make_file(PATH, len(NOTE), private=True)
            token.write_file(PATH, NOTE)
            print(token.read_file(PATH).decode(), end="")
            for child in token.list("3f00"):
                print(f"{child.id:04x} {child.size} bytes")
        finally:
            token.logout()  # a login outlives the program


try:
    work(sys.stdin.readline().rstrip("\n"))
except ksigil.Error as failure:
    sys.exit(str(failure))
