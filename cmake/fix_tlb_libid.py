#!/usr/bin/env python3
"""Makes the library identifier inside a widl-written type library match the IDL.

widl (seen with 8.x) can write a wrong last byte into the library GUID of a .tlb
whose coclasses list a dual interface and a source dispinterface, while the
generated header is right. The type library would then register under a LIBID
that nothing else knows. This reads the MSFT header, finds the library's entry
in the GUID table and rewrites it with the uuid given in the IDL's library block.
"""
import re
import struct
import sys
import uuid


def library_uuid(idl_text):
    # The attribute block right before the "library" keyword.
    m = re.search(r"\[\s*uuid\(([0-9A-Fa-f-]{36})\)[^\]]*\]\s*library\s", idl_text)
    if not m:
        sys.exit("fix_tlb_libid: no library uuid in the IDL")
    return uuid.UUID(m.group(1))


def guid_table_offset(data):
    if data[:4] != b"MSFT":
        sys.exit("fix_tlb_libid: not an MSFT type library")
    varflags = struct.unpack_from("<i", data, 0x14)[0]
    typeinfos = struct.unpack_from("<i", data, 0x20)[0]
    offset = 0x54 + 4 * typeinfos
    if varflags & 0x100:  # help DLL name present
        offset += 4
    # Segment directory: typeinfo, impinfo, impfiles, ref, guidhash, guid, ...
    return struct.unpack_from("<i", data, offset + 5 * 16)[0]


def main():
    tlb_path, idl_path = sys.argv[1], sys.argv[2]
    with open(idl_path, encoding="utf-8") as f:
        libid = library_uuid(f.read())
    data = bytearray(open(tlb_path, "rb").read())
    posguid = struct.unpack_from("<i", data, 0x08)[0]
    at = guid_table_offset(data) + posguid
    if bytes(data[at:at + 16]) != libid.bytes_le:
        data[at:at + 16] = libid.bytes_le
        open(tlb_path, "wb").write(data)
        print(f"fix_tlb_libid: library identifier corrected to {{{str(libid).upper()}}}")


if __name__ == "__main__":
    main()
