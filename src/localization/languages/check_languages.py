#!/usr/bin/env python3
"""Check the VelPhonebook language files in this folder.

Usage: python3 check_languages.py   (no arguments)

Prints one line per problem, then "ok: N files" when everything is fine.
Exits with status 1 when any problem was found.
"""
import os
import sys
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))

CODES = ["ar", "zh-tw", "zh-cn", "cs", "da", "de", "el", "es", "fi", "fr", "he", "hu",
         "it", "ko", "nl", "nb", "pl", "pt-br", "pt-pt", "pt", "ru", "sv", "tr", "uk"]

STRING_IDS = ["101", "103", "104", "105", "106", "107", "108", "109", "110", "111", "112",
              "113", "114", "115", "116", "117", "118", "119", "120", "206", "207", "231",
              "232", "233", "240", "241", "250", "251", "252", "253"]

# dialog id -> (control ids, has caption)
DIALOGS = {
    "103": (["203", "202", "208"], False),
    "122": (["203", "202", "212"], False),
    "120": (["215", "216"], True),
    "159": (["1", "2"], False),
}

XML_DECL = b'<?xml version="1.0" encoding="utf-8"?>'


def check_raw(name, data, problems):
    if data.startswith(b"\xef\xbb\xbf"):
        problems.append("%s: starts with a byte order mark" % name)
    if not data.startswith(XML_DECL):
        problems.append("%s: does not start with %s" % (name, XML_DECL.decode()))
    if b"\r" in data:
        problems.append("%s: contains CR characters (line ends must be LF)" % name)
    try:
        data.decode("utf-8")
    except UnicodeDecodeError as e:
        problems.append("%s: not valid UTF-8 (%s)" % (name, e))
    if b"\t" in data:
        problems.append("%s: contains tab characters" % name)


def check_items(name, where, parent, expected_ids, problems):
    """Check that parent has exactly one <string> child per expected id, all non-empty."""
    seen = []
    for child in parent:
        if child.tag != "string":
            continue
        sid = child.get("id")
        if sid is None:
            problems.append("%s: %s: <string> without id" % (name, where))
            continue
        if sid in seen:
            problems.append("%s: %s: duplicate string id %s" % (name, where, sid))
        seen.append(sid)
        if not (child.text or "").strip():
            problems.append("%s: %s: string %s is empty" % (name, where, sid))
        if len(child):
            problems.append("%s: %s: string %s has child elements" % (name, where, sid))
    for sid in expected_ids:
        if sid not in seen:
            problems.append("%s: %s: missing string id %s" % (name, where, sid))
    for sid in seen:
        if sid not in expected_ids:
            problems.append("%s: %s: unexpected string id %s" % (name, where, sid))


def check_tree(name, root, problems):
    if root.tag != "Zantix":
        problems.append("%s: root element is <%s>, expected <Zantix>" % (name, root.tag))
        return
    comps = list(root)
    if len(comps) != 1 or comps[0].tag != "VelPhonebook":
        problems.append("%s: <Zantix> must contain exactly one <VelPhonebook>" % name)
        return
    res = list(comps[0])
    if len(res) != 1 or res[0].tag != "resources":
        problems.append("%s: <VelPhonebook> must contain exactly one <resources>" % name)
        return
    resources = res[0]

    strings_elems = [e for e in resources if e.tag == "strings"]
    dlg_elems = [e for e in resources if e.tag == "dlg"]
    others = [e.tag for e in resources if e.tag not in ("strings", "dlg")]
    if others:
        problems.append("%s: unexpected elements in <resources>: %s" % (name, ", ".join(others)))

    if len(strings_elems) != 1:
        problems.append("%s: expected exactly one <strings>, found %d" % (name, len(strings_elems)))
    else:
        strings = strings_elems[0]
        bad = [e.tag for e in strings if e.tag != "string"]
        if bad:
            problems.append("%s: unexpected elements in <strings>: %s" % (name, ", ".join(bad)))
        check_items(name, "strings", strings, STRING_IDS, problems)
        text = {e.get("id"): (e.text or "") for e in strings if e.tag == "string"}
        s206 = text.get("206")
        if s206 is not None:
            if s206.count("%d") != 1 or s206.count("%") != 1:
                problems.append("%s: string 206 must contain exactly one %%d and no other %%: %r"
                                % (name, s206))
        for sid in ("109", "111"):
            if sid in text and "\n" not in text[sid]:
                problems.append("%s: string %s has no line break" % (name, sid))
        if "104" in text and text["104"] != "000-00-00":
            problems.append("%s: string 104 must be 000-00-00, is %r" % (name, text["104"]))
        if "207" in text and "Microsoft Outlook" not in text["207"]:
            problems.append("%s: string 207 must keep 'Microsoft Outlook'" % name)
        for sid, t in text.items():
            if sid != "206" and "%" in t:
                problems.append("%s: string %s contains a '%%' sign" % (name, sid))

    seen_dlgs = []
    for d in dlg_elems:
        did = d.get("id")
        if did in seen_dlgs:
            problems.append("%s: duplicate dlg id %s" % (name, did))
        seen_dlgs.append(did)
        if did not in DIALOGS:
            problems.append("%s: unexpected dlg id %s" % (name, did))
            continue
        ids, has_caption = DIALOGS[did]
        where = "dlg %s" % did
        captions = [e for e in d if e.tag == "caption"]
        bad = [e.tag for e in d if e.tag not in ("caption", "string")]
        if bad:
            problems.append("%s: %s: unexpected elements: %s" % (name, where, ", ".join(bad)))
        if has_caption:
            if len(captions) != 1:
                problems.append("%s: %s: expected exactly one <caption>, found %d"
                                % (name, where, len(captions)))
            elif not (captions[0].text or "").strip():
                problems.append("%s: %s: caption is empty" % (name, where))
        elif captions:
            problems.append("%s: %s: must not have a <caption>" % (name, where))
        check_items(name, where, d, ids, problems)
    for did in DIALOGS:
        if did not in seen_dlgs:
            problems.append("%s: missing dlg id %s" % (name, did))


def main():
    problems = []
    expected = {"Zantix.%s.xml" % c for c in CODES}
    present = {f for f in os.listdir(HERE) if f.endswith(".xml")}
    for f in sorted(expected - present):
        problems.append("%s: missing file" % f)
    for f in sorted(present - expected):
        problems.append("%s: unexpected language file" % f)

    checked = 0
    for f in sorted(present & expected):
        path = os.path.join(HERE, f)
        with open(path, "rb") as fh:
            data = fh.read()
        check_raw(f, data, problems)
        try:
            root = ET.fromstring(data)
        except ET.ParseError as e:
            problems.append("%s: not well-formed XML: %s" % (f, e))
            continue
        check_tree(f, root, problems)
        checked += 1

    for p in problems:
        print(p)
    if problems:
        print("FAILED: %d problem(s)" % len(problems))
        return 1
    print("ok: %d files" % checked)
    return 0


if __name__ == "__main__":
    sys.exit(main())
