#!/usr/bin/env python3
"""check_prefix.py PREFIX WXS...: nothing of the packages is left in the Wine
prefix: no registry key or value naming what their .wxs files name (class,
interface and library identifiers, ProgIDs, product, upgrade and component
codes, also in the installer's packed form, install folders), no vendor folder
under the program files folders, no cached package. The registry is read from
its files, so the wineserver must have ended. Prints the findings, then PASS or
FAIL; exits 1 on failure."""
import os
import re
import sys
import xml.etree.ElementTree as ET

W = "{http://schemas.microsoft.com/wix/2006/wi}"
GUID = re.compile(r"[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}", re.I)


def packed(guid):  # as the installer's own keys spell a code
    g = guid.strip("{}").upper().replace("-", "")
    return g[7::-1] + g[11:7:-1] + g[15:11:-1] + "".join(g[i + 1] + g[i] for i in range(16, 32, 2))


prefix, texts, names, vendors = sys.argv[1], set(), set(), set()
for path in sys.argv[2:]:
    root = ET.parse(path).getroot()
    keys = {v.get("Key") for v in root.iter(W + "RegistryValue")}
    product = root.find(W + "Product")
    codes = [product.get("Id"), product.get("UpgradeCode")] + [c.get("Guid") for c in root.iter(W + "Component")]
    texts |= {"{%s}" % g.lower() for k in keys for g in GUID.findall(k)} | {"{%s}" % c.strip("{}").lower() for c in codes}
    texts |= {packed(c).lower() for c in codes}
    names |= {k.split("\\")[0].lower() for k in keys} - {"clsid", "interface", "typelib"}
    for parent in root.iter(W + "Directory"):
        for child in (c for c in parent.findall(W + "Directory") if c.get("Id", "").startswith("INSTALLFOLDER")):
            texts.add(f"{parent.get('Name')}\\{child.get('Name')}".lower())
            vendors.add(parent.get("Name"))
findings = []
for hive in ("system.reg", "user.reg"):
    key = None
    for line in open(os.path.join(prefix, hive), encoding="utf-8", errors="replace"):
        line = line.rstrip("\n").replace("\\\\", "\\").lower()
        if line.startswith("["):
            key = line[1:line.rfind("]")]
            if any(t in key for t in texts) or names & set(key.split("\\")):
                findings.append(f"key {hive}: {key}")
        elif key and not line.startswith("#") and any(t in line for t in texts):
            findings.append(f"value in {hive}: {key}: {line}")
for folder in ("Program Files", "Program Files (x86)"):
    findings += [f"folder left: {folder}\\{v}" for v in vendors if os.path.exists(os.path.join(prefix, "drive_c", folder, v))]
cache = os.path.join(prefix, "drive_c", "windows", "Installer")
findings += [f"cached package left: {n}" for n in (os.listdir(cache) if os.path.isdir(cache) else []) if n.lower().endswith(".msi")]
print("\n".join(findings + [f"FAIL: {len(findings)} finding(s)" if findings else "PASS"]))
sys.exit(1 if findings else 0)
