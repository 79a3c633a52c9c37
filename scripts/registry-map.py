#!/usr/bin/env python3
"""Prints the registry that the installer writes for a silo, as a script for regedit: the map of the product's folders,
the components by object id and the product's settings.

usage: registry-map.py SILO"""
import os
import sys
from xml.etree import ElementTree

KEYS = (r"Software\Corvane\Isolation", r"Software\Corvane\Halvora\AV")


def fill(text):
    return text.replace("[SILO]", sys.argv[1]).replace("[INSTALLDIR]", r"C:\Program Files\Halvora")


def data(value):
    text = fill(value.get("Value"))
    return f"dword:{int(text):08x}" if value.get("Type") == "integer" else '"' + text.replace("\\", "\\\\") + '"'


if len(sys.argv) != 2:
    sys.exit(__doc__)
lines = ["Windows Registry Editor Version 5.00"]
source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../installer/product.wxs")
for key in ElementTree.parse(source).findall(".//{*}RegistryKey"):
    if key.get("Key").startswith(KEYS):
        lines += ["", rf"[HKEY_LOCAL_MACHINE\{fill(key.get('Key'))}]"]
        lines += [f'"{value.get("Name")}"={data(value)}' for value in key]
print("\r\n".join(lines), end="\r\n")
