#!/usr/bin/env python3
"""Fails the build when a widl-written type library is damaged.

widl (7.x and 8.x) can write a broken import table: when a dispinterface comes
before the first interface that imports IDispatch from stdole2, the later
import finds the identifier already written, gets no offset (-1), and writes
its back-reference one byte before the table, over the last byte of the
library identifier. The IDL names its interfaces in an order that avoids it
(see the library block); this check keeps it so: every imported type must
point at an identifier inside the table, and the library identifier must be
the IDL's.
"""
import re
import struct
import sys
import uuid

IMPINFO_OFFSET_IS_GUID = 0x10000


def library_uuid(idl_text):
    # The attribute block right before the "library" keyword.
    m = re.search(r"\[\s*uuid\(([0-9A-Fa-f-]{36})\)[^\]]*\]\s*library\s", idl_text)
    if not m:
        sys.exit("check_tlb: no library uuid in the IDL")
    return uuid.UUID(m.group(1))


def segments(data):
    if data[:4] != b"MSFT":
        sys.exit("check_tlb: not an MSFT type library")
    varflags = struct.unpack_from("<i", data, 0x14)[0]
    typeinfos = struct.unpack_from("<i", data, 0x20)[0]
    offset = 0x54 + 4 * typeinfos
    if varflags & 0x100:  # help DLL name present
        offset += 4
    # Segment directory: typeinfo, impinfo, impfiles, ref, guidhash, guid, ...
    return [struct.unpack_from("<ii", data, offset + 16 * i) for i in range(15)]


def main():
    tlb_path, idl_path = sys.argv[1], sys.argv[2]
    with open(idl_path, encoding="utf-8") as f:
        libid = library_uuid(f.read())
    data = open(tlb_path, "rb").read()
    seg = segments(data)
    imp_offset, imp_length = seg[1]
    guid_offset, guid_length = seg[5]
    errors = []
    for at in range(imp_offset, imp_offset + imp_length, 12):
        flags, _, o_guid = struct.unpack_from("<iii", data, at)
        if flags & IMPINFO_OFFSET_IS_GUID and not (0 <= o_guid < guid_length and o_guid % 24 == 0):
            errors.append(f"imported type {(at - imp_offset) // 12} has no identifier (offset {o_guid})")
    posguid = struct.unpack_from("<i", data, 0x08)[0]
    written = bytes(data[guid_offset + posguid:guid_offset + posguid + 16])
    if written != libid.bytes_le:
        errors.append(f"library identifier {uuid.UUID(bytes_le=written)} is not {libid}")
    if errors:
        sys.exit(f"check_tlb: {tlb_path} is damaged:\n  " + "\n  ".join(errors))


if __name__ == "__main__":
    main()
