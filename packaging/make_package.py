#!/usr/bin/env python3
"""Builds the installer packages of the module with wixl (msitools).

  VelPhonebook-<version>-x64.msi   VelPhonebook64.dll in the 64-bit program files
                                   folder and VelPhonebook.dll in the 32-bit one
  VelPhonebook-<version>-x86.msi   VelPhonebook.dll alone

Each module goes with its language files, its assembly manifest and the SDK
folder of its build (SDK\: the IDL, the header and identifiers file generated
from it, the type library). Nothing is
registered by running code at install time: the registration is rows of the
package's Registry table: the class and interface keys of each module in its
own registry view (the x86-64 module's component is a 64-bit one), the keys
both views share (ProgIDs, the type library's version key) in one 32-bit
component that both packages hold alike, so that with both installed, removing
one leaves the other working. Where the two views do not share those keys
(see SHARED_CLASSES_PROBE), the x64 package writes them in the 64-bit view as
well. The rows are read from what the module's own
registration is made of, so that the package writes what regsvr32 writes:

  *.rgs                 the registry scripts, read by their grammar
                        (src/com/registrar.cpp), with the module's
                        replacement values; %MODULE% is the installed file
  VelPhonebook.idl      the class and library identifiers, the interfaces
                        that the type library registration adds (dual and
                        oleautomation interfaces, dispinterfaces)
  VelPhonebook.tlb      the library's locale and flags, as the build wrote them

The version is the project's one version (CMakeLists.txt); each module's
version resource must carry the same, or the build tree is stale and the
package is refused. The product code follows from the version and the
architecture, so each version is a new product; the upgrade code is fixed per
architecture, and installing a newer version removes the older one first (a
major upgrade).

  make_package.py --build DIR --build-x86 DIR --output DIR [--version V] [--only x64|x86]
"""
import argparse
import glob
import os
import re
import shutil
import struct
import subprocess
import sys
import uuid
from xml.sax.saxutils import quoteattr

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.dont_write_bytecode = True  # no caches in the source tree
sys.path.insert(0, os.path.join(SOURCE, "src", "module"))
import make_assembly_manifest as manifest  # noqa: E402  (its IDL, resource and replacement readers)

# Fixed for good: the upgrade code of each architecture's package, and the
# namespace the product and component codes are derived in.
UPGRADE_CODES = {"x64": "D2518F6E-1F87-412D-8628-2042C3E213F4", "x86": "89B53DD5-A7F7-485C-A7E8-3AF09C065194"}
CODE_NAMESPACE = uuid.UUID("67e12aee-042a-4913-84c6-a7c902ee8290")

# The proxy/stub classes the type library registration names for an
# interface: the automation marshaler for dual and oleautomation interfaces,
# the dispatch one for a dispinterface.
PS_OA_INTERFACE = "{00020424-0000-0000-C000-000000000046}"
PS_DISPATCH = "{00020420-0000-0000-C000-000000000046}"
LIBFLAG_FHASDISKIMAGE = 0x8

# The ProgIDs and the type library's version key live in HKLM\Software\Classes,
# which Windows (7 and later) shares between its 64-bit and 32-bit views (only
# CLSID, Interface and a few others are kept apart), as does a Wine prefix made
# with Wine's 32-bit loader; a prefix made by a Wine without it keeps two
# separate keys, and a 64-bit process there would not see what the 32-bit
# component wrote. A second, 64-bit copy of that component in the x64 package
# cannot be installed unconditionally: the Windows Installer counts references
# per component, not per key, so where the views share the keys, removing the
# x64 package would remove its copy's keys, which are the very keys the x86
# package (still installed, its 32-bit component still counted) relies on.
# So the copy is installed only where the views are apart, known by looking
# for a key every system writes in its classes from the 64-bit side ("exefile")
# through the 32-bit view: found, the views share it and the 32-bit component
# serves both (held by both packages, it goes with the last of them); not
# found, each view gets its own component, removed with its own package.
SHARED_CLASSES_PROPERTY = "CLASSESSHAREDBYVIEWS"
SHARED_CLASSES_PROBE = r"Software\Classes\exefile"
SHARED_64_COMPONENT = "SharedRegistration64"
MANIFEST_NAME = "Zantix.VelPhonebook.manifest"
SDK_FILES = ("VelPhonebook.idl", "VelPhonebook_h.h", "VelPhonebook_i.c", "VelPhonebook.tlb")


def fail(message):
    sys.exit(f"make_package: {message}")


def code(*parts):
    return str(uuid.uuid5(CODE_NAMESPACE, "/".join(parts))).upper()


# ---------------------------------------------------------------- registry scripts

def tokens(text, replace):
    """The registrar's tokens: quoted ('' for a quote) or whitespace-delimited,
    %NAME% replaced in both."""
    pos = 0
    while True:
        while pos < len(text) and text[pos].isspace():
            pos += 1
        if pos >= len(text):
            return
        quoted = text[pos] == "'"
        raw = ""
        if quoted:
            pos += 1
            while True:
                if pos >= len(text):
                    fail("unterminated quote in a registry script")
                if text[pos] == "'":
                    if text[pos + 1:pos + 2] == "'":
                        raw += "'"
                        pos += 2
                        continue
                    pos += 1
                    break
                raw += text[pos]
                pos += 1
        else:
            while pos < len(text) and not text[pos].isspace():
                raw += text[pos]
                pos += 1
        yield replace(raw), quoted


def script_rows(text, replace, where):
    """The Registry rows of a script: (root, key, name, value), name None for
    the default value, "+" for a key created empty, "*" for a ForceRemove key
    (created on install, removed with all below it on uninstall, as
    unregistration does). A NoRemove key gets no row of its own: it is only a
    parent. Delete (a key removed on registration) has no Registry row."""
    stream = list(tokens(text, replace))
    rows, pos = [], 0

    def word(i, *words):
        return i < len(stream) and not stream[i][1] and stream[i][0].lower() in words

    while pos < len(stream):
        root = stream[pos][0].upper()
        root = {"HKEY_CLASSES_ROOT": "HKCR", "HKEY_CURRENT_USER": "HKCU", "HKEY_LOCAL_MACHINE": "HKLM"}.get(root, root)
        if root not in ("HKCR", "HKCU", "HKLM") or not word(pos + 1, "{"):
            fail(f"{where}: a root block must start with HKCR, HKCU or HKLM and a brace")
        pos += 2
        path = []  # (key name, flag, has content) of the open keys
        while True:
            if pos >= len(stream):
                fail(f"{where}: unclosed block")
            if word(pos, "}"):
                pos += 1
                if not path:
                    break
                name, flag, filled = path.pop()
                key = "\\".join(p[0] for p in path + [(name,)])
                if flag == "ForceRemove":
                    rows.append((root, key, "*", None))
                elif not filled and flag != "NoRemove":
                    rows.append((root, key, "+", None))
                continue
            flag = None
            if word(pos, "noremove", "forceremove", "delete"):
                flag = {"noremove": "NoRemove", "forceremove": "ForceRemove", "delete": "Delete"}[stream[pos][0].lower()]
                pos += 1
            if flag == "Delete":
                fail(f"{where}: Delete has no Registry table row")
            is_value = word(pos, "val")
            if is_value:
                pos += 1
            name = stream[pos][0]
            pos += 1
            data = None
            if word(pos, "="):
                kind, data = stream[pos + 1][0].lower(), stream[pos + 2][0]
                if kind == "d":
                    data = f"#{int(data, 0)}"
                elif kind != "s":
                    fail(f"{where}: value type {kind} is not s or d")
                elif data.startswith("#"):
                    data = "#" + data  # a leading # would make the installer read a number
                pos += 3
            if is_value:
                if data is None:
                    fail(f"{where}: val {name} without a value")
                key = "\\".join(p[0] for p in path)
                rows.append((root, key, name, data))
                path[-1] = (path[-1][0], path[-1][1], True)
                continue
            if path:
                path[-1] = (path[-1][0], path[-1][1], True)
            key = "\\".join([p[0] for p in path] + [name])
            filled = data is not None
            if filled:
                rows.append((root, key, None, data))
            if word(pos, "{"):
                pos += 1
                path.append((name, flag, filled))
            elif flag == "ForceRemove":
                rows.append((root, key, "*", None))
            elif not filled and flag != "NoRemove":
                rows.append((root, key, "+", None))
    return rows


# ---------------------------------------------------------------- type library

def interfaces(idl):
    """The interfaces the type library registration writes keys for: those of
    the library (named in it, or bases of those) that are dual or
    oleautomation interfaces or dispinterfaces, by name, with their
    identifiers and proxy/stub class."""
    text = re.sub(r"//[^\n]*", "", idl)
    defined = {}  # name: (attributes, kind, base)
    for m in re.finditer(r"\[([^\[\]]*)\]\s*(dispinterface|interface)\s+(\w+)\s*(?::\s*(\w+)\s*)?\{", text):
        attributes, kind, name, base = m.groups()
        defined[name] = (attributes, kind, base)
    library = re.search(r"\blibrary\s+\w+\s*\{(.*)\}", text, re.S)
    if not library:
        fail("no library block in the IDL")
    pending = set(re.findall(r"\b(?:dispinterface|interface)\s+(\w+)", library.group(1)))
    found, seen = {}, set()
    while pending:
        name = pending.pop()
        if name in seen or name not in defined:
            continue  # one of the system's (IDispatch, IPropertyBag): registered by the system
        seen.add(name)
        attributes, kind, base = defined[name]
        if base:
            pending.add(base)
        iid = re.search(rf"uuid\(({manifest.GUID})\)", attributes)
        if not iid:
            fail(f"{name} has no uuid")
        if kind == "dispinterface":
            found[name] = (manifest.braced(iid.group(1)), PS_DISPATCH)
        elif re.search(r"\b(dual|oleautomation)\b", attributes):
            found[name] = (manifest.braced(iid.group(1)), PS_OA_INTERFACE)
    if not found:
        fail("no automation interface in the library")
    return found


def library_helpstring(idl):
    attributes = re.search(r"\[([^\]]*)\]\s*library\s+\w+", re.sub(r"//[^\n]*", "", idl)).group(1)
    found = re.search(r'helpstring\("([^"]*)"\)', attributes)
    return found.group(1) if found else ""


def tlb_locale_and_flags(path):
    """The locale and library flags from the header of a type library as widl
    writes it (the MSFT format)."""
    with open(path, "rb") as f:
        header = f.read(32)
    if header[:4] != b"MSFT":
        fail(f"{path} is not a type library")
    lcid, flags = struct.unpack_from("<i", header, 12)[0], struct.unpack_from("<i", header, 28)[0]
    return lcid, flags


def typelib_rows(libid, tlb_version, helpstring, lcid, flags, syskind, module_ref, folder_ref, automation):
    """What the type library registration writes for the module, in the
    module's view (the flags as Wine's oleaut32 writes them: the library's
    own with "has a disk image")."""
    base = f"TypeLib\\{libid}\\{tlb_version}"
    rows = [
        ("HKCR", base, None, helpstring),
        ("HKCR", f"{base}\\{lcid:x}\\{syskind}", None, module_ref),
        # The neutral locale too: Wine's automation marshaller looks there
        # (src/module/registration.cpp).
        ("HKCR", f"{base}\\0\\{syskind}", None, module_ref),
        ("HKCR", f"{base}\\FLAGS", None, str(flags | LIBFLAG_FHASDISKIMAGE)),
        ("HKCR", f"{base}\\HELPDIR", None, folder_ref),
    ]
    for name, (iid, proxy) in sorted(automation.items(), key=lambda item: item[1][0]):
        key = f"Interface\\{iid}"
        rows += [
            ("HKCR", key, "*", None),
            ("HKCR", key, None, name),
            ("HKCR", f"{key}\\ProxyStubClsid", None, proxy),
            ("HKCR", f"{key}\\ProxyStubClsid32", None, proxy),
            ("HKCR", f"{key}\\TypeLib", None, libid),
            ("HKCR", f"{key}\\TypeLib", "Version", tlb_version),
        ]
    return rows


# ---------------------------------------------------------------- modules

def pe_version(path):
    """The file version in a module's version resource."""
    with open(path, "rb") as f:
        data = f.read()
    at = data.find(struct.pack("<I", 0xFEEF04BD))
    if at < 0:
        fail(f"{path} has no version resource")
    ms, ls = struct.unpack_from("<II", data, at + 8)
    return f"{ms >> 16}.{ms & 0xFFFF}.{ls >> 16}.{ls & 0xFFFF}"


def project_version():
    text = manifest.read(os.path.join(SOURCE, "CMakeLists.txt"))
    found = re.search(r"project\(\s*\w+\s+VERSION\s+([\d.]+)", text)
    if not found:
        fail("no VERSION in the project() of CMakeLists.txt")
    return found.group(1)


class Module:
    """One architecture's module with the files beside it and its rows."""

    def __init__(self, arch, build):
        self.arch = arch  # "x64" or "x86"
        self.win64 = arch == "x64"
        self.bits = "64" if self.win64 else "32"
        self.file_name = f"VelPhonebook{'64' if self.win64 else ''}.dll"
        self.bin = os.path.join(build, "bin")
        self.tlb = os.path.join(build, "generated", "module", "VelPhonebook.tlb")
        self.path = os.path.join(self.bin, self.file_name)
        self.id = f"module{self.bits}"
        self.folder_id = f"INSTALLFOLDER{self.bits}"
        self.sdk = os.path.join(build, "sdk")
        for needed in (self.path, self.tlb, os.path.join(self.bin, MANIFEST_NAME),
                       *(os.path.join(self.sdk, name) for name in SDK_FILES)):
            if not os.path.isfile(needed):
                fail(f"{needed} is missing: build the {arch} tree first")
        self.languages = sorted(os.path.basename(p) for p in
                                glob.glob(os.path.join(SOURCE, "src", "localization", "languages", "Zantix.*.xml")))
        if not self.languages:
            fail("no language files")
        for name in self.languages:
            if not os.path.isfile(os.path.join(self.bin, name)):
                fail(f"{name} is not beside {self.path}")

    def stage(self, folder):
        """Copies what the package holds into folder: the module without its
        debugging information (which the build tree's copy keeps), the
        manifest and the language files."""
        self.staged = os.path.join(folder, self.arch)
        shutil.rmtree(self.staged, ignore_errors=True)
        os.makedirs(self.staged)
        strip = "x86_64-w64-mingw32-strip" if self.win64 else "i686-w64-mingw32-strip"
        subprocess.run([strip, "--strip-unneeded", "-o", os.path.join(self.staged, self.file_name), self.path],
                       check=True)
        for name in [MANIFEST_NAME] + self.languages:
            shutil.copyfile(os.path.join(self.bin, name), os.path.join(self.staged, name))
        os.makedirs(os.path.join(self.staged, "SDK"))
        for name in SDK_FILES:
            shutil.copyfile(os.path.join(self.sdk, name), os.path.join(self.staged, "SDK", name))


def registration_rows(module):
    src = os.path.join(SOURCE, "src", "module")
    idl = manifest.read(os.path.join(src, "VelPhonebook.idl"))
    library, libid, tlb_version, coclasses = manifest.parse_idl(idl)
    fixed = manifest.parse_replacements(manifest.read(os.path.join(src, "registration.cpp")))
    module_ref = f"[#{module.id}]"
    rows = []
    for script in sorted(glob.glob(os.path.join(src, "*.rgs"))):
        # The manifest's reader names the script's class and checks that it is
        # one of the IDL's coclasses and names the library.
        coclass = manifest.parse_script(script, fixed, coclasses, "LIBID_" + library)["coclass"]
        values = dict(fixed)
        values.update({
            "LIBID_" + library: libid.strip("{}"),
            "CLSID_" + coclass: coclasses[coclass],
            "MODULE": module_ref, "Module": module_ref, "Module_Raw": module_ref,
            "MODULE_FILE_NAME_EXT": module.file_name,
        })

        def replace(raw, where=os.path.basename(script)):
            return re.sub(r"%(\w*)%", lambda m: "%" if not m.group(1) else values[m.group(1)]
                          if m.group(1) in values else fail(f"{where}: unknown replacement %{m.group(1)}%"), raw)

        rows += script_rows(manifest.read(script), replace, os.path.basename(script))
    lcid, flags = tlb_locale_and_flags(module.tlb)
    rows += typelib_rows(libid, tlb_version, library_helpstring(idl), lcid, flags,
                         "win64" if module.win64 else "win32", module_ref, f"[{module.folder_id}]", interfaces(idl))
    if any(root != "HKCR" for root, *_ in rows):
        fail("a registry script writes outside HKCR, which a per-machine package cannot mirror")
    # The Registry table wants each (key, name) once.
    seen = set()
    for root, key, name, _ in rows:
        if (key.lower(), name) in seen:
            fail(f"{key} {name or '(default)'} is written twice")
        seen.add((key.lower(), name))
    return rows


def split_rows(rows, module_ref):
    """The rows of the module's own component (class and interface keys, which
    each registry view has apart, and what names the file), and those of the
    keys both views share (ProgIDs, the type library's version key)."""
    own, shared = [], []
    for row in rows:
        key, value = row[1], row[3] or ""
        redirected = key.split("\\")[0].lower() in ("clsid", "interface")
        (own if redirected or module_ref in value else shared).append(row)
    return own, shared


# ---------------------------------------------------------------- package

def registry_values(rows, indent, key_path=False):
    lines = []
    for root_key, key, name, value in rows:
        attributes = f'Root="{root_key}" Key={quoteattr(key)}'
        if name is not None:
            attributes += f" Name={quoteattr(name)}"
        if key_path and name is None and value:
            attributes += ' KeyPath="yes"'
            key_path = False
        lines.append(f'{indent}<RegistryValue {attributes} Type="string" Value={quoteattr(value or "")}/>')
    return lines


def wxs(arch, version, modules, shared, vendor, product, shared64=None):
    a = quoteattr
    lines = [
        '<?xml version="1.0" encoding="utf-8"?>',
        "<!-- Written by packaging/make_package.py; not edited by hand. -->",
        '<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">',
        f'  <Product Id="{code("product", arch, version)}" Name={a(f"{product} VelPhonebook ({arch})")}'
        f' Language="1033" Codepage="1252" Version="{version}" Manufacturer={a(vendor)}'
        f' UpgradeCode="{UPGRADE_CODES[arch]}">',
        f'    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine"'
        f' Description={a(f"{product} recipient phonebook {version}")} Manufacturer={a(vendor)}/>',
        '    <MajorUpgrade DowngradeErrorMessage="A newer version of the phonebook is already installed."/>',
        '    <MediaTemplate EmbedCab="yes"/>',
        '    <Property Id="ARPNOMODIFY" Value="1"/>',
        *([f'    <Property Id="{SHARED_CLASSES_PROPERTY}">',
           f'      <RegistrySearch Id="SharedClassesProbe" Root="HKLM" Key={a(SHARED_CLASSES_PROBE)} Name=""'
           ' Type="raw" Win64="no"/>',
           '    </Property>'] if shared64 else []),
        '    <Directory Id="TARGETDIR" Name="SourceDir">',
    ]
    refs = []
    for module in modules:
        bits, win64 = module.bits, "yes" if module.win64 else "no"
        # wixl takes sources relative to its working folder, the output folder.
        source = lambda name: a(os.path.join(module.arch, name))
        lines += [
            f'      <Directory Id="{"ProgramFiles64Folder" if module.win64 else "ProgramFilesFolder"}">',
            f'        <Directory Id="VendorFolder{bits}" Name={a(vendor)}>',
            # The installer removes the folders of its components, but not
            # the vendor's folder above them when that is left empty: this
            # component does (only when empty: other products may share it).
            f'          <Component Id="VendorFolder{bits}" Guid="{code("component", module.arch, "vendor")}"'
            f' Win64="{win64}">',
            f'            <RemoveFolder Id="RemoveVendorFolder{bits}" On="uninstall"/>',
            "          </Component>",
            f'          <Directory Id="{module.folder_id}" Name="VelPhonebook">',
            # The module, its manifest and its registration are one component:
            # they come and go together.
            f'            <Component Id="Module{bits}" Guid="{code("component", module.arch, "module")}"'
            f' Win64="{win64}">',
            f'              <File Id="{module.id}" Name="{module.file_name}" Source={source(module.file_name)}'
            ' KeyPath="yes"/>',
            f'              <File Id="manifest{bits}" Name="{MANIFEST_NAME}" Source={source(MANIFEST_NAME)}/>',
        ]
        lines += registry_values(module.rows, "              ")
        lines += ["            </Component>"]
        if module.win64 and shared64:
            # The same keys in the 64-bit view, where the views keep them
            # apart (SHARED_CLASSES_PROBE; the condition is set after wixl,
            # which does not write component conditions).
            lines += [
                f'            <Component Id="{SHARED_64_COMPONENT}" Guid="{code("component", "shared-registration-64")}"'
                ' Win64="yes">',
                *registry_values(shared64, "              ", key_path=True),
                "            </Component>",
            ]
            refs.append(SHARED_64_COMPONENT)
        if not module.win64:
            # The keys both registry views share go in a component of their
            # own, the same in both packages: with both installed, removing
            # one leaves them to the other.
            lines += [
                f'            <Component Id="SharedRegistration" Guid="{code("component", "shared-registration")}"'
                ' Win64="no">',
                *registry_values(shared, "              ", key_path=True),
                "            </Component>",
            ]
            refs.append("SharedRegistration")
        lines += [
            f'            <Component Id="Languages{bits}" Guid="{code("component", module.arch, "languages")}"'
            f' Win64="{win64}">',
        ]
        for i, name in enumerate(module.languages):
            key_path = ' KeyPath="yes"' if i == 0 else ""
            lines.append(f'              <File Id="lang{bits}_{re.sub(r"[^A-Za-z0-9]", "_", name[7:-4])}"'
                         f' Name="{name}" Source={source(name)}{key_path}/>')
        lines += [
            "            </Component>",
            f'            <Directory Id="SdkFolder{bits}" Name="SDK">',
            f'              <Component Id="Sdk{bits}" Guid="{code("component", module.arch, "sdk")}"'
            f' Win64="{win64}">',
            *[f'                <File Id="sdk{bits}_{re.sub(r"[^A-Za-z0-9]", "_", name)}" Name="{name}"'
              f' Source={source(os.path.join("SDK", name))}{" KeyPath=" + a("yes") if i == 0 else ""}/>'
              for i, name in enumerate(SDK_FILES)],
            "              </Component>",
            "            </Directory>",
            "          </Directory>", "        </Directory>", "      </Directory>"]
        refs += [f"VendorFolder{bits}", f"Module{bits}", f"Languages{bits}", f"Sdk{bits}"]
    lines += [
        "    </Directory>",
        f'    <Feature Id="Phonebook" Title={a(f"{product} recipient phonebook")} Level="1">',
        *[f'      <ComponentRef Id="{r}"/>' for r in refs],
        "    </Feature>",
        "  </Product>",
        "</Wix>",
    ]
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, help="the x86-64 build tree")
    parser.add_argument("--build-x86", required=True, help="the x86 build tree")
    parser.add_argument("--output", required=True)
    parser.add_argument("--version", help="package another version of the same modules (for upgrade tests)")
    parser.add_argument("--only", choices=("x64", "x86"), help="build one package")
    args = parser.parse_args()

    version = project_version()
    x64 = Module("x64", args.build)
    x86 = Module("x86", args.build_x86)
    for module in (x64, x86):
        found = pe_version(module.path)
        if found != version:
            fail(f"{module.path} carries version {found}, the project is {version}: rebuild it")
        module.rows, module.shared = split_rows(registration_rows(module), f"[#{module.id}]")
    # The shared keys are written once, for both modules: with the 32-bit
    # module's folder as the type library's help folder.
    if [r for r in x64.shared if not r[1].endswith("\\HELPDIR")] != \
            [r for r in x86.shared if not r[1].endswith("\\HELPDIR")]:
        fail("the modules' registrations differ in the keys both registry views share")
    version = args.version or version
    if not re.fullmatch(r"\d+\.\d+\.\d+\.\d+", version):
        fail(f"version {version} is not a.b.c.d")

    fixed = manifest.parse_replacements(manifest.read(os.path.join(SOURCE, "src", "module", "registration.cpp")))
    vendor, product = fixed.get("VendorName"), fixed.get("ProductName")
    if not vendor or not product:
        fail("no VendorName or ProductName replacement in the registration code")

    os.makedirs(args.output, exist_ok=True)
    output = os.path.abspath(args.output)
    for module in (x64, x86):
        module.stage(output)
    for arch, modules in (("x64", [x64, x86]), ("x86", [x86])):
        if args.only and arch != args.only:
            continue
        base = os.path.join(output, f"VelPhonebook-{version}-{arch}")
        with open(base + ".wxs", "w", encoding="utf-8") as f:
            f.write(wxs(arch, version, modules, x86.shared, vendor, product, x64.shared if arch == "x64" else None))
        if os.path.exists(base + ".msi"):
            os.remove(base + ".msi")
        subprocess.run(["wixl", "-a", "x64" if arch == "x64" else "x86", "-o", base + ".msi", base + ".wxs"],
                       cwd=output, check=True)
        if arch == "x64":
            subprocess.run(["msibuild", base + ".msi", "-q", f"UPDATE `Component` SET `Condition` ="
                            f" 'NOT {SHARED_CLASSES_PROPERTY}' WHERE `Component` = '{SHARED_64_COMPONENT}'"],
                           check=True)
        # wixl leaves the File table's version empty, which would make the
        # modules unversioned files to the installer (replaced by date, not
        # by version, on a repair).
        for module in modules:
            file_version = pe_version(os.path.join(module.staged, module.file_name))
            subprocess.run(["msibuild", base + ".msi", "-q", f"UPDATE `File` SET `Version` = '{file_version}',"
                            f" `Language` = '1033' WHERE `File` = '{module.id}'"], check=True)
        print(f"{base}.msi: {os.path.getsize(base + '.msi')} bytes")


if __name__ == "__main__":
    main()
