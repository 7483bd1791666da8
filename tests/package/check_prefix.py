#!/usr/bin/env python3
"""Looks through a Wine prefix for what the phonebook's packages leave there.

What is "ours" is read from the .wxs files the packaging writes: the registry
keys, the identifiers in them, the ProgIDs, the product, upgrade and component
codes (also in the installer's packed form) and the install folders. The
registry is read from the prefix's files (system.reg, user.reg), both views at
once, so the wineserver must have ended first.

  check_prefix.py PREFIX absent WXS...       nothing of the packages is left
  check_prefix.py PREFIX views WXS           class and interface keys in their component's view only
  check_prefix.py PREFIX snapshot FILE WXS   our machine keys and values to FILE (module folders made placeholders)
  check_prefix.py PREFIX compare FILE FILE   the two snapshots are the same

Prints one line per finding and "PASS" or "FAIL: ..." last; exits 1 on failure.
"""
import json
import os
import re
import sys
import xml.etree.ElementTree as ET

W = "{http://schemas.microsoft.com/wix/2006/wi}"
GUID = re.compile(r"[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}", re.I)
CLASSES = "software\\classes\\"


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
        self.view_keys = {True: set(), False: set()}  # True: the 64-bit view
        for component in root.iter(W + "Component"):
            self.view_keys[component.get("Win64") == "yes"] |= {v.get("Key") for v in component.iter(W + "RegistryValue")}
        self.keys = self.view_keys[True] | self.view_keys[False]
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


def views(machine, package):
    findings, machine = [], {k.lower() for k in machine}
    for win64 in (True, False):
        for key in (k for k in package.view_keys[win64] if k.split("\\")[0].lower() in ("clsid", "interface")):
            own, other = CLASSES + key.lower(), CLASSES + "wow6432node\\" + key.lower()
            own, other = (own, other) if win64 else (other, own)
            findings += [f"missing: HKLM\\{own}"] * (own not in machine)
            findings += [f"in the other view: HKLM\\{other}"] * (other in machine and key not in package.view_keys[not win64])
    return findings


def snapshot(machine, package):
    """Our keys of both views under the machine's classes, found in the registry
    itself: the type library, the classes the modules serve, the library's
    interfaces and the classes' ProgIDs; module folders made placeholders."""
    default = lambda values: next((v[3:-1] for v in values if v.startswith('@="')), "").lower()
    guids = {"{" + g.lower() + "}" for k in package.keys if k.lower().startswith("typelib\\") for g in GUID.findall(k)}
    split = {k: k.lower().split("\\") for k in machine}
    for key, values in machine.items():
        parts = split[key]
        if parts[:2] == ["software", "classes"] and len(parts) >= 5 and (
                parts[-3:-2] == ["clsid"] and parts[-1] == "inprocserver32" and re.search(r"\\velphonebook(64)?\.dll$", default(values))
                or parts[-3:-2] == ["interface"] and parts[-1] == "typelib" and default(values) in guids):
            guids.add(parts[-2])
    progids = {split[k][2] for k, v in machine.items() if len(split[k]) == 4 and split[k][:2] == ["software", "classes"]
               and split[k][3] == "clsid" and default(v) in guids}
    taken = {}
    for key, values in machine.items():
        lowered = key.lower()
        if lowered.startswith(CLASSES) and "\\installer\\" not in lowered and \
                (any(g in lowered for g in guids) or progids & set(split[key])):
            taken[key] = sorted("@=<folder>" if lowered.endswith("\\helpdir") else
                                re.sub(r'"[A-Za-z]:\\[^"]*\\(VelPhonebook(64)?\.dll)', r'"<folder>\\\1', v) for v in values)
    return taken


def main():
    prefix, mode, args = sys.argv[1], sys.argv[2], sys.argv[3:]
    if mode == "compare":
        a, b = (json.load(open(f)) for f in args)
        findings = [f"{k}: {a.get(k)} / {b.get(k)}" for k in sorted(set(a) | set(b)) if a.get(k) != b.get(k)]
        print(f"{len(a)} keys in the first")
    else:
        hives = {"HKLM": read_registry(os.path.join(prefix, "system.reg")),
                 "HKCU": read_registry(os.path.join(prefix, "user.reg"))}
        if mode == "snapshot":
            with open(args[0], "w") as f:
                json.dump(snapshot(hives["HKLM"], Package(args[1])), f, indent=1, sort_keys=True)
            return 0
        findings = {"absent": lambda: absent(prefix, hives, [Package(p) for p in args]),
                    "views": lambda: views(hives["HKLM"], Package(args[0]))}[mode]()
    for finding in findings:
        print(finding)
    print(f"FAIL: {len(findings)} finding(s)" if findings else "PASS")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
