#!/usr/bin/env python3
"""Looks through a Wine prefix for what the phonebook's packages leave there.

What is "ours" is read from the .wxs files the packaging writes: the registry
keys, the identifiers in them, the ProgIDs, the product, upgrade and component
codes (also in the installer's packed form) and the install folders. The
registry is read from the prefix's files (system.reg, user.reg), both views at
once, so the wineserver must have ended first.

  check_prefix.py PREFIX absent WXS...       nothing of the packages is left

Prints one line per finding and "PASS" or "FAIL: ..." last; exits 1 on failure.
"""
import os
import re
import sys
import xml.etree.ElementTree as ET

W = "{http://schemas.microsoft.com/wix/2006/wi}"
GUID = re.compile(r"[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}", re.I)


def packed(guid):
    """A GUID as the installer's registry keys spell it."""
    g = guid.strip("{}").upper().replace("-", "")
    return g[7::-1] + g[11:7:-1] + g[15:11:-1] + "".join(g[i + 1] + g[i] for i in range(16, 32, 2))


class Package:
    def __init__(self, path):
        root = ET.parse(path).getroot()
        product = root.find(W + "Product")
        self.name, self.product_code = os.path.basename(path), product.get("Id").upper()
        self.codes = [self.product_code, product.get("UpgradeCode").upper()] + \
            [c.get("Guid").upper() for c in root.iter(W + "Component")]
        self.keys = {v.get("Key") for v in root.iter(W + "RegistryValue")}
        self.guids = {g.upper() for k in self.keys for g in GUID.findall(k)}
        self.progids = {k.split("\\")[0].lower() for k in self.keys} - {"clsid", "interface", "typelib"}
        self.folders = {f"{p.get('Name')}\\{c.get('Name')}" for p in root.iter(W + "Directory")
                        for c in p.findall(W + "Directory") if c.get("Id", "").startswith("INSTALLFOLDER")}


def read_registry(path):
    """{key path: [value lines]} of a Wine registry file, backslashes undoubled."""
    keys, current = {}, None
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            m = re.match(r"^\[(.*)\] \d+", line)
            if m:
                current = keys.setdefault(m.group(1).replace("\\\\", "\\"), [])
            elif current is not None and line.strip() and not line.startswith("#"):
                current.append(line.rstrip("\n").replace("\\\\", "\\"))
    return keys


def search(hives, texts, names=()):
    """Keys whose path or values hold one of the texts, or have one of the names as a path element."""
    texts = [t.lower() for t in texts]
    for hive, keys in hives.items():
        for key, values in keys.items():
            lowered = key.lower()
            if any(t in lowered for t in texts) or set(names) & set(lowered.split("\\")):
                yield f"key {hive}\\{key}"
            else:
                yield from (f"value in {hive}\\{key}: {v}" for v in values if any(t in v.lower() for t in texts))


def absent(prefix, hives, packages):
    findings = []
    for p in packages:
        findings += [f"left by {p.name}: {f}" for f in search(hives, ["{" + g + "}" for g in p.guids] + list(p.folders), p.progids)]
        findings += [f"installer data of {p.name}: {f}" for f in search(hives, ["{" + c + "}" for c in p.codes] + [packed(c) for c in p.codes])]
        for folder in ("Program Files", "Program Files (x86)"):
            findings += [f"folder left: {folder}\\{v}" for v in {f.split("\\")[0] for f in p.folders}
                         if os.path.exists(os.path.join(prefix, "drive_c", folder, v))]
    cache = os.path.join(prefix, "drive_c", "windows", "Installer")
    return findings + [f"cached package left: {n}" for n in (os.listdir(cache) if os.path.isdir(cache) else []) if n.lower().endswith(".msi")]


def main():
    prefix, mode, args = sys.argv[1], sys.argv[2], sys.argv[3:]
    hives = {"HKLM": read_registry(os.path.join(prefix, "system.reg")), "HKCU": read_registry(os.path.join(prefix, "user.reg"))}
    findings = absent(prefix, hives, [Package(p) for p in args])
    for finding in findings:
        print(finding)
    print(f"FAIL: {len(findings)} finding(s)" if findings else "PASS")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
