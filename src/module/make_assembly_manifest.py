#!/usr/bin/env python3
"""Writes the module's side-by-side assembly manifest for registration-free use.

A client whose application manifest depends on the assembly creates the classes
without any registry entry: the manifest names the module file, every class with
its ProgIDs and threading model, and the type library. Everything in it is read
from the files the module itself is built from, so that it cannot drift from what
regsvr32 registers:

  VelPhonebook.idl     library identifier and version, the coclasses' identifiers
  *.rgs                the ProgIDs, threading model, description and MiscStatus of
                       each class (the %CLSID_<coclass>% entry names its coclass)
  VelPhonebook.rc      the internal name
  registration.cpp     the fixed replacement values of the scripts (%ProdAbb%, ...)

The assembly is named <ProdAbb>.<InternalName>. A private assembly is found by the
loader as <name>.manifest beside the application (or in a folder <name>), so the
output file is meant to carry that name. The version, the module's file name and
the architecture come from the build, which gives the module's version resource
the same ones.

  make_assembly_manifest.py --idl F --rc F --registration F --version V --file NAME
                            --architecture amd64|x86 --output F script.rgs...
"""
import argparse
import os
import re
import sys
from xml.sax.saxutils import escape, quoteattr

GUID = r"[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}"

# OLEMISC flags by the names manifests give them.
OLEMISC_NAMES = [
    (0x1, "recomposeonresize"), (0x2, "onlyiconic"), (0x4, "insertnotreplace"), (0x8, "static"),
    (0x10, "cantlinkinside"), (0x20, "canlinkbyole1"), (0x40, "islinkobject"), (0x80, "insideout"),
    (0x100, "activatewhenvisible"), (0x200, "renderingisdeviceindependent"),
    (0x400, "invisibleatruntime"), (0x800, "alwaysrun"), (0x1000, "actslikebutton"),
    (0x2000, "actslikelabel"), (0x4000, "nouiactivate"), (0x8000, "alignable"),
    (0x10000, "simpleframe"), (0x20000, "setclientsitefirst"), (0x40000, "imemode"),
    (0x80000, "ignoreactivatewhenvisible"), (0x100000, "wantstomenumerge"),
    (0x200000, "supportsmultilevelundo"),
]


def fail(message):
    sys.exit(f"make_assembly_manifest: {message}")


def read(path):
    with open(path, encoding="utf-8", newline="") as f:
        return f.read()


def braced(guid):
    return "{" + guid.upper() + "}"


def parse_idl(text):
    text = re.sub(r"//[^\n]*", "", text)
    library = re.search(r"\[([^\]]*)\]\s*library\s+(\w+)", text)
    if not library:
        fail("no library block in the IDL")
    attributes, name = library.group(1), library.group(2)
    libid = re.search(rf"uuid\(({GUID})\)", attributes)
    version = re.search(r"version\((\d+)\.(\d+)\)", attributes)
    if not libid or not version:
        fail("the library block lacks its uuid or version")
    coclasses = {m.group(2): braced(m.group(1))
                 for m in re.finditer(rf"uuid\(({GUID})\)[^\]]*\]\s*coclass\s+(\w+)", text)}
    if not coclasses:
        fail("no coclass in the IDL")
    return name, braced(libid.group(1)), f"{version.group(1)}.{version.group(2)}", coclasses


def parse_rc(text):
    internal = re.search(r'VALUE\s+"InternalName"\s*,\s*"([^"]+)"', text)
    if not internal:
        fail("the resource script lacks InternalName")
    return internal.group(1)


def parse_replacements(text):
    # The literal pairs of the replacement map: {L"Name", L"Value"}.
    return dict(re.findall(r'\{\s*L"(\w+)"\s*,\s*L"([^"]*)"\s*\}', text))


def parse_script(path, replacements, coclasses, libid_name):
    text = read(path)

    def value(pattern, what, required=True):
        m = re.search(pattern, text)
        if not m:
            if required:
                fail(f"{os.path.basename(path)}: no {what}")
            return None
        return re.sub(r"%(\w+)%", lambda r: replacements[r.group(1)] if r.group(1) in replacements
                      else fail(f"{os.path.basename(path)}: unknown replacement %{r.group(1)}%"), m.group(1))

    key = re.search(r"ForceRemove\s+%CLSID_(\w+)%\s*=\s*s\s*'([^']*)'", text)
    if not key:
        fail(f"{os.path.basename(path)}: no class key")
    coclass = key.group(1)
    if coclass not in coclasses:
        fail(f"{os.path.basename(path)}: no coclass {coclass} in the IDL")
    typelib = re.search(r"\bTypeLib\s*=\s*s\s*'\{?%(\w+)%\}?'", text)
    if not typelib or typelib.group(1) != libid_name:
        fail(f"{os.path.basename(path)}: the class does not name the library {libid_name}")
    misc = value(r"'?MiscStatus'?\s*=\s*s\s*'[^']*'\s*\{\s*'?1'?\s*=\s*s\s*'(\d+)'", "MiscStatus", False)
    return {
        "coclass": coclass,
        "clsid": coclasses[coclass],
        "description": value(r"ForceRemove\s+%CLSID_\w+%\s*=\s*s\s*'([^']*)'", "description"),
        "progid": value(r"\bProgID\s*=\s*s\s*'([^']*)'", "ProgID"),
        "independent": value(r"\bVersionIndependentProgID\s*=\s*s\s*'([^']*)'", "VersionIndependentProgID"),
        "threading": value(r"\bval\s+ThreadingModel\s*=\s*s\s*'([^']*)'", "ThreadingModel"),
        "misc": int(misc) if misc else 0,
    }


def misc_names(flags):
    names = [name for bit, name in OLEMISC_NAMES if flags & bit]
    if sum(bit for bit, _ in OLEMISC_NAMES if flags & bit) != flags:
        fail(f"MiscStatus {flags} has flags without a manifest name")
    return ",".join(names)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--idl", required=True)
    parser.add_argument("--rc", required=True)
    parser.add_argument("--registration", required=True)
    parser.add_argument("--version", required=True, help="the module's version, a.b.c.d")
    parser.add_argument("--file", required=True, help="the module's file name")
    parser.add_argument("--architecture", required=True, help="amd64 or x86")
    parser.add_argument("--output", required=True)
    parser.add_argument("scripts", nargs="+")
    args = parser.parse_args()

    library, libid, tlb_version, coclasses = parse_idl(read(args.idl))
    internal_name = parse_rc(read(args.rc))
    version, file_name = args.version, args.file
    replacements = parse_replacements(read(args.registration))
    if "ProdAbb" not in replacements:
        fail("no ProdAbb replacement in the registration code")
    classes = [parse_script(path, replacements, coclasses, "LIBID_" + library)
               for path in sorted(args.scripts)]
    if len({c["clsid"] for c in classes}) != len(classes):
        fail("two scripts register the same class")

    lines = [
        '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>',
        '<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">',
        f'  <assemblyIdentity type="win32" name={quoteattr(replacements["ProdAbb"] + "." + internal_name)}'
        f' version="{version}" processorArchitecture={quoteattr(args.architecture)}/>',
        f"  <file name={quoteattr(file_name)}>",
    ]
    for c in classes:
        attributes = (f'clsid="{c["clsid"]}" threadingModel={quoteattr(c["threading"])}'
                      f' progid={quoteattr(c["progid"])} tlbid="{libid}"'
                      f' description={quoteattr(c["description"])}')
        if c["misc"]:
            attributes += f' miscStatusContent="{misc_names(c["misc"])}"'
        lines.append(f"    <comClass {attributes}>")
        lines.append(f"      <progid>{escape(c['independent'])}</progid>")
        lines.append("    </comClass>")
    lines.append(f'    <typelib tlbid="{libid}" version="{tlb_version}" helpdir=""/>')
    lines.append("  </file>")
    lines.append("</assembly>")
    text = "\r\n".join(lines) + "\r\n"

    # Rewritten only when it changes, so that what depends on it is not rebuilt.
    if not os.path.exists(args.output) or read(args.output) != text:
        with open(args.output, "w", encoding="utf-8", newline="") as f:
            f.write(text)


if __name__ == "__main__":
    main()
