#!/usr/bin/env python3
"""timeless.py TYPELIB: takes the time of its making out of a type library, which the compiler notes in it as text and as a number."""
import pathlib
import re
import sys

library = pathlib.Path(sys.argv[1])
note = rb"( at )\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}(\n\0?W*\x13\0).{4}"
made, found = re.subn(note, rb"\g<1>Thu Jan  1 00:00:00 1970\g<2>\0\0\0\0", library.read_bytes(), flags=re.DOTALL)
if found != 1:
    sys.exit(f"{library}: the compiler's note of the time is not where it was")
library.write_bytes(made)
