#!/usr/bin/env python3
"""Looks through a Wine prefix for what the phonebook's packages leave there.

What is "ours" is read from the packages' own sources (the .wxs files the
packaging writes): every registry key they write, every identifier in those
keys (class, interface and library identifiers), every ProgID, the product,
upgrade and component codes (also in the installer's packed form), and the
install folders. The prefix's registry is read from its files (system.reg for
HKEY_LOCAL_MACHINE, user.reg for HKEY_CURRENT_USER), both registry views at
once, so the registry must have been written out first (the wineserver ended).

  check_prefix.py PREFIX absent WXS...
      nothing of any of the packages is left: no key or value naming one of
      their identifiers, no install folder, no cached package
  check_prefix.py PREFIX views WXS
      every class and interface key of the package is in the registry view
      of its component (the 32-bit one under Wow6432Node), and in the other
      view only where the package has a component of that width too
  check_prefix.py PREFIX snapshot FILE WXS
      writes the machine's keys that name the package's identifiers, with
      their values, to FILE (the modules' paths and folder made placeholders)
  check_prefix.py PREFIX compare FILE FILE
      the two snapshots are the same
  check_prefix.py PREFIX installed WXS [OLDER_WXS...]
      exactly the first package's product is registered for its upgrade code,
      and nothing names the older packages' products

Prints one line per finding and "PASS" or "FAIL: ..." last; exits 1 on failure.
"""
import json
import os
import re
import sys
import xml.etree.ElementTree as ET

NS = {"w": "http://schemas.microsoft.com/wix/2006/wi"}
GUID = re.compile(r"[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}")
# Keys of the system that the packages write below but never own.
SHARED_TOP = {"clsid", "interface", "typelib"}


def packed(guid):
    """A GUID as the installer's registry keys spell it."""
    g = guid.strip("{}").upper().replace("-", "")
    swap = lambda s: "".join(s[i + 1] + s[i] for i in range(0, len(s), 2))
    return g[7::-1] + g[11:7:-1] + g[15:11:-1] + swap(g[16:])


class Package:
    def __init__(self, path):
        root = ET.parse(path).getroot()
        product = root.find("w:Product", NS)
        self.name = os.path.basename(path)
        self.product_code = product.get("Id").upper()
        self.upgrade_code = product.get("UpgradeCode").upper()
        self.components = [c.get("Guid").upper() for c in root.iter(f"{{{NS['w']}}}Component")]
        self.keys = {v.get("Key") for v in root.iter(f"{{{NS['w']}}}RegistryValue")}
        # The keys of each registry view: True for the 64-bit one.
        self.view_keys = {True: set(), False: set()}
        for component in root.iter(f"{{{NS['w']}}}Component"):
            win64 = component.get("Win64") == "yes"
            self.view_keys[win64] |= {v.get("Key") for v in component.iter(f"{{{NS['w']}}}RegistryValue")}
        self.guids = {g.upper() for k in self.keys for g in GUID.findall(k)}
        self.progids = {k.split("\\")[0] for k in self.keys if k.split("\\")[0].lower() not in SHARED_TOP}
        # The install folders as "vendor\\product" below the program files folders.
        directory = f"{{{NS['w']}}}Directory"
        self.folders = {f"{parent.get('Name')}\\{child.get('Name')}" for parent in root.iter(directory)
                        for child in parent.findall(directory) if child.get("Id", "").startswith("INSTALLFOLDER")}

    def codes(self):
        return [self.product_code, self.upgrade_code] + self.components


def read_registry(path):
    """{key path: [value lines]} of a Wine registry file, backslashes undoubled."""
    keys, current = {}, None
    with open(path, encoding="utf-8", errors="replace") as f:
        for line in f:
            line = line.rstrip("\n")
            m = re.match(r"^\[(.*)\] \d+", line)
            if m:
                current = m.group(1).replace("\\\\", "\\")
                keys[current] = []
            elif current is not None and line and not line.startswith("#"):
                keys[current].append(line.replace("\\\\", "\\"))
    return keys


def default_value(values):
    found = [v[3:-1] for v in values if v.startswith('@="')]
    return found[0] if found else None


def snapshot(machine, package):
    """Our keys of both views under the machine's classes, values normalized:
    the registration of the same modules from another folder compares equal.
    What is ours is found in the registry itself, not in the package: the
    type library, the classes served by the modules, the interfaces of the
    library and the ProgIDs of those classes."""
    libids = {g for k in package.keys if k.lower().startswith("typelib\\") for g in GUID.findall(k)}
    classes = "software\\classes\\"
    guids, progids = {"{" + g.lower() + "}" for g in libids}, set()
    for key, values in machine.items():
        parts = key.lower().split("\\")
        if parts[:2] != ["software", "classes"] or len(parts) < 5:
            continue
        kind, guid, leaf = parts[-3:]
        value = (default_value(values) or "").lower()
        if kind == "clsid" and leaf == "inprocserver32" and re.search(r"\\velphonebook(64)?\.dll$", value):
            guids.add(guid)
        elif kind == "interface" and leaf == "typelib" and value in guids:
            guids.add(guid)
    for key, values in machine.items():
        parts = key.lower().split("\\")
        if len(parts) == 4 and parts[:2] == ["software", "classes"] and parts[3] == "clsid" and \
                (default_value(values) or "").lower() in guids:
            progids.add(parts[2])
    taken = {}
    for key, values in machine.items():
        lowered = key.lower()
        if not lowered.startswith(classes) or "\\installer\\" in lowered:
            continue
        if not (any(g in lowered for g in guids) or progids.intersection(lowered.split("\\"))):
            continue
        normalized = []
        for value in values:
            if lowered.endswith("\\helpdir"):
                value = "@=<folder>"  # the type library's folder: either module's
            value = re.sub(r'"[A-Za-z]:\\[^"]*\\(VelPhonebook(64)?\.dll)', r'"<folder>\\\1', value)
            normalized.append(value)
        taken[key] = sorted(normalized)
    return taken


class Prefix:
    """A prefix's registry (both views of each hive) and its drive."""

    def __init__(self, path):
        self.drive = os.path.join(path, "drive_c")
        self.hives = {"HKLM": read_registry(os.path.join(path, "system.reg")),
                      "HKCU": read_registry(os.path.join(path, "user.reg"))}
        self.machine = self.hives["HKLM"]

    def search(self, texts=(), names=()):
        """Keys whose path or values hold one of the texts, and keys with one
        of the names as a path element."""
        texts, names = [t.lower() for t in texts], {n.lower() for n in names}
        for hive, keys in self.hives.items():
            for key, values in keys.items():
                lowered = key.lower()
                if any(t in lowered for t in texts) or names.intersection(lowered.split("\\")):
                    yield f"key {hive}\\{key}"
                    continue
                yield from (f"value in {hive}\\{key}: {v}" for v in values if any(t in v.lower() for t in texts))


def absent(prefix, packages):
    findings = []
    for p in packages:
        findings += [f"left by {p.name}: {f}" for f in prefix.search(
            texts=["{" + g + "}" for g in p.guids] + list(p.folders), names=p.progids)]
        findings += [f"installer data left by {p.name}: {f}" for f in prefix.search(
            texts=["{" + c + "}" for c in p.codes()] + [packed(c) for c in p.codes()])]
    vendors = {f.split("\\")[0] for p in packages for f in p.folders}
    for folder in ("Program Files", "Program Files (x86)"):
        findings += [f"folder left: {folder}/{v}" for v in sorted(vendors)
                     if os.path.exists(os.path.join(prefix.drive, folder, v))]
    cache = os.path.join(prefix.drive, "windows", "Installer")
    if os.path.isdir(cache):
        findings += [f"cached package left: {name}" for name in os.listdir(cache) if name.lower().endswith(".msi")]
    return findings


def views(prefix, package):
    findings, machine, found = [], {k.lower() for k in prefix.machine}, 0
    for win64 in (True, False):
        for key in sorted(package.view_keys[win64]):
            if key.split("\\")[0].lower() not in ("clsid", "interface"):
                continue  # ProgIDs and type libraries are one key for both views
            own, other = "Software\\Classes\\" + key, "Software\\Classes\\Wow6432Node\\" + key
            if not win64:
                own, other = other, own
            if own.lower() in machine:
                found += 1
            else:
                findings.append(f"missing: HKLM\\{own}")
            if other.lower() in machine and key not in package.view_keys[not win64]:
                findings.append(f"in the other view: HKLM\\{other}")
    print(f"{found} class and interface keys in their views")
    return findings


def installed(prefix, current, older):
    findings = []
    key = f"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UpgradeCodes\\{packed(current.upgrade_code)}"
    products = [re.match(r'^"([^"]*)"', v).group(1) for v in prefix.machine.get(key, []) if v.startswith('"')]
    print(f"products of the upgrade code: {products}")
    if products != [packed(current.product_code)]:
        findings.append(f"the upgrade code lists {products}, not only {packed(current.product_code)}")
    if "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{" + current.product_code + "}" not in prefix.machine:
        findings.append(f"{current.name} is not in the installed programs")
    for p in older:
        findings += [f"older product {p.name} still registered: {f}" for f in prefix.search(
            texts=["{" + p.product_code + "}", packed(p.product_code)])]
    return findings


def compare(first, second):
    with open(first) as f:
        a = json.load(f)
    with open(second) as f:
        b = json.load(f)
    differences = [f"only in {os.path.basename(first)}: {k} {a[k]}" for k in sorted(set(a) - set(b))]
    differences += [f"only in {os.path.basename(second)}: {k} {b[k]}" for k in sorted(set(b) - set(a))]
    differences += [f"{k}: {a[k]} / {b[k]}" for k in sorted(set(a) & set(b)) if a[k] != b[k]]
    if not differences:
        print(f"{len(a)} keys alike")
    return differences


def main():
    path, mode, args = sys.argv[1], sys.argv[2], sys.argv[3:]
    if mode == "compare":
        findings = compare(*args)
    elif mode == "snapshot":
        taken = snapshot(Prefix(path).machine, Package(args[1]))
        with open(args[0], "w") as f:
            json.dump(taken, f, indent=1, sort_keys=True)
        print(f"{len(taken)} keys in {os.path.basename(args[0])}")
        return 0
    elif mode == "absent":
        findings = absent(Prefix(path), [Package(p) for p in args])
    elif mode == "views":
        findings = views(Prefix(path), Package(args[0]))
    elif mode == "installed":
        findings = installed(Prefix(path), Package(args[0]), [Package(p) for p in args[1:]])
    else:
        sys.exit(f"unknown mode {mode}")
    for finding in findings:
        print(finding)
    print(f"FAIL: {len(findings)} finding(s)" if findings else "PASS")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
