#!/usr/bin/env python3
"""Writes regfree_host.exe's application manifest: a dependency on the module's
assembly, with the identity copied from the assembly manifest the build wrote, so
that a new module version needs no change here.

  make_host_manifest.py ASSEMBLY_MANIFEST OUTPUT
"""
import os
import re
import sys

assembly_path, output = sys.argv[1], sys.argv[2]
with open(assembly_path, encoding="utf-8") as f:
    identity = re.search(r"<assemblyIdentity\b[^>]*/>", f.read())
if not identity:
    sys.exit("make_host_manifest: no assemblyIdentity in " + assembly_path)
architecture = re.search(r'processorArchitecture="([^"]+)"', identity.group(0))
text = "\r\n".join([
    '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>',
    '<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">',
    '  <assemblyIdentity type="win32" name="Zantix.VelPhonebook.RegFreeHost" version="1.0.0.0"'
    f' processorArchitecture="{architecture.group(1) if architecture else "*"}"/>',
    "  <dependency>",
    "    <dependentAssembly>",
    "      " + identity.group(0),
    "    </dependentAssembly>",
    "  </dependency>",
    "</assembly>",
]) + "\r\n"
old = open(output, encoding="utf-8", newline="").read() if os.path.exists(output) else None
if old != text:
    with open(output, "w", encoding="utf-8", newline="") as f:
        f.write(text)
