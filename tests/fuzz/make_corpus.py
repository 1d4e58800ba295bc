#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets into corpus/<target>/.

The images come from tests/support/GoldenImages.h, so that the seeds follow the format; what the
targets expect in front of them is told at the head of each target. Files of earlier runs whose
name begins with "seed-" are replaced, others (findings that became tests) stay.
"""

import pathlib
import re
import struct

HERE = pathlib.Path(__file__).resolve().parent
GOLDEN = HERE.parent / "support" / "GoldenImages.h"


def golden_images():
    """Name and bytes of every image of the header."""
    images = {}
    text = GOLDEN.read_text(encoding="utf-8")
    for name, body in re.findall(r"inline Bytes (\w+)\(\) \{(.*?)\n\}", text, re.DOTALL):
        code = re.sub(r"//[^\n]*", "", body)
        images[name] = bytes.fromhex(" ".join(re.findall(r'"([^"]*)"', code)))
    return images


def words(*values):
    return struct.pack(f"<{len(values)}I", *values)


def record(parameter, tag, payload):
    return words(parameter, tag, len(payload)) + payload


def message(identifier, *records):
    return record(identifier, 100, b"".join(records))


def hostile_messages():
    """Images that are wrong in one way each."""
    return {
        "empty": message(0),
        "odd-tail": message(1, record(5, 7, words(9))) + b"\xff",
        "length-4g": words(1, 100, 16, 5, 7, 0xFFFFFFFF, 9),
        "length-wraps": words(1, 100, 28, 5, 7, 4, 9, 6, 7, 0xFFFFFFE4),
        "root-length-4g": words(2, 100, 0xFFFFFFFF, 5, 7, 4, 9),
        "root-type-text": words(2, 1, 1, 5, 7, 0),
        "nested-length-4g": words(1, 100, 28, 2, 100, 16, 5, 7, 0xFFFFFFFF, 9),
        "tag-0": message(1, record(0x33, 0, b"")),
        "narrow-without-end": message(1, record(5, 1, b"ab"), record(6, 1, b"")),
        "wide-odd": message(1, record(5, 2, b"a\0b"), record(6, 2, b"\x00\xd8\x00\x00")),
        "number-of-3": message(1, record(5, 7, b"\1\2\3"), record(5, 6, b"12345678")),
        "nested-8": nested(8),
        "same-id": message(1, *[record(5, 7, words(i)) for i in range(20)]),
        "all-types": message(
            1, record(1, 1, b"text\0"), record(2, 2, "\u03b1\U0001f600\0".encode("utf-16-le")),
            record(3, 6, words(0xFFFFFFFF)), record(4, 7, words(7)), message(5, record(6, 7, words(8)))),
    }


def nested(levels):
    image = message(levels)
    for level in reversed(range(levels)):
        image = message(level, image)
    return image


JSON_TEXTS = {
    "null": "null",
    "object": '{"data":{"sessionId":"s1"},"retCode":553582592}\n',
    "request": '{"activeSessionId":1,"items":["a","b"]}\n',
    "event": '{"eventId":7,"param":{"percent":50}}',
    "numbers": '[0,-1,4294967295,4294967296,18446744073709551615,-9223372036854775808,1.5e300,1e-5]',
    "beyond": '{"data":{"a":1e400,"b":-1e400,"c":18446744073709551616,"d":-0.0}}',
    "escapes": '"\\u0000\\ud83d\\ude00\\ud800 \\udc00\\n\\t\\"\\\\\\/\\b\\f\\r"',
    "comments": '// first\n{"a": /* inside */ 1} // last',
    "deep": "[" * 60 + "]" * 60,
    "deep-object": '{"a":' * 40 + "1" + "}" * 40,
    "unclosed": '{"a":[1,2,{"b":"c',
    "wrong-tokens": "{nul:tru,'a':0x12,}",
    "trailing": '{"a":1} {"b":2}',
    "duplicate-keys": '{"a":1,"a":2,"":3}',
    "literals": "[true,false,null]",
    "empty": "",
}

# Answers to calls: what stands in them is of the wrong type, too large, missing or hostile.
ANSWERS = {
    "numbers": '{"data":{"percent":50,"state":4294967295,"total":18446744073709551615},"retCode":0}',
    "texts": '{"data":{"sessionId":"a\\u0000b\\ud800","result":[1,2]},"retCode":553582592}',
    "no-data": '{"retCode":3774808071}',
    "data-number": '{"data":5}',
    "data-array": '{"data":[{"percent":1}]}',
    "root-array": "[1,2,3]",
    "root-text": '"data"',
    "wrong-types": '{"data":{"percent":"50","state":-1,"total":1.5,"sessionId":{"a":1}},"retCode":"x"}',
    "no-json": "{",
    "nested": '{"data":' + '{"data":' * 20 + "1" + "}" * 21,
}


# Requests to the development host's functions that have members of their own.
HOST_REQUESTS = {
    0: '{"activeSessionId":1,"items":[]}',
    4: '{"sessionId":"id","items":["temporaryFiles"],"data":{"ids":["a",1]}}',
    9: '{"sessionId":"id","fixSessionId":"id","data":{"all":true,"items":[{}]}}',
    17: '{"filterParamDiskDrive":"C:","category":"video","filterParamFileSize":1}',
    20: '{"data":{"groups":[{"files":[{"path":"x"},"y",[]]}],"files":{}},"filterParamHighBound":9}',
    36: '{"moduleName":"a.exe","status":1,"names":["a"],"data":["a"],"duration":5,"period":9}',
    50: '{"validityPeriod":1,"dayOfWeek":7,"hour":24,"minute":0,"scheduleId":1,"productLcid":1}',
}

FAULT_SCRIPTS = [
    "# head\napi:400 x2 skip 1 nth 2 delay 5, fail 0x803; mail:400 unknown-client ;any x* truncate 9\r\n",
    "cmd:8273 bytes ca000000; any bytes -; any omit mailresult, omit retcode, mistype data",
    "any mistype resultcode, mistype body; api:400 mistype child, mistype json, omit packer",
    "api:400 size 3000, mailresult 5, resultcode 4294967295, retcode 0",
    "any text {\"a\": [1, 2]} ; any texthex 7b3b237d; any texthex -, delay 1",
    "any crash; any crash-restart; any crash-restart 750, delay 2; any restart",
    "any size 0x7fffffff",
]

FAULT_FILES = [
    '{"faults":[]}',
    '{"faults":[{"api":400,"nth":2,"failure":"0x803"},{"any":true,"always":true,"cut":9}]}',
    '{"faults":[{"mail":400,"skip":1,"count":2,"retCode":-520159231,"omit":["data","json"]}]}',
    '{"faults":[{"command":8273,"mistype":["mailresult","body"],"delay":1,"mailResult":"5"}]}',
    '{"faults":[{"api":400,"text":"{\\"a\\":\\";#\\u00e4\\"}"},{"any":true,"bytes":"ca00"}]}',
    '{"faults":[{"any":true,"empty":true},{"any":true,"unknownClient":true,"size":300}]}',
    '{"faults":[{"any":true,"crash":true},{"any":true,"comeBackAfter":5},{"any":true,"restart":true}]}',
    '{"faults":[{"any":true,"explode":1}]}',
]

# Path of the root, path to query, document.
XML_DOCUMENTS = {
    "manifest": ("", "./Product/FileGroup/File",
                 '<?xml version="1.0" encoding="utf-8"?>\n<Product>\n  <RegistryGroup>\n'
                 '    <RegistryKey Id="1" Key="a\\b" Action="create" />\n  </RegistryGroup>\n'
                 '  <FileGroup><File Id="2"/><File Id="3">text</File></FileGroup>\n</Product>'),
    "part": ("Product/Group", "a/../b", "<Product><x/><Group><a>1</a><b/></Group></Product>"),
    "no-root": ("Product/x", "", "<Product><y/></Product>"),
    "mixed": ("a", "./b", "<a>one <b>two</b> three<!-- c --><?tool do?><![CDATA[<&]]></a>"),
    "blanks": ("", "a", "\n<a>\n\t <b> </b>\r\n</a>\n"),
    "entities": ("", "a", "<a x='&lt;&#65;&quot;'>&amp;&#x42;&apos;</a>"),
    "internal-entity": ("a", ".", "<!DOCTYPE a [<!ENTITY e 'v'><!ATTLIST a y CDATA 'd'>]>"
                                  "<a x='&e;'>&e;</a>"),
    "laughs": ("", "a", "<!DOCTYPE a [<!ENTITY e0 'ha'>" + "".join(
        f"<!ENTITY e{i} '" + f"&e{i - 1};" * 10 + "'>" for i in range(1, 9)) + "]><a x='&e8;'/>"),
    "recursive-entity": ("", "a", "<!DOCTYPE a [<!ENTITY e '&e;'>]><a x='&e;'>&e;</a>"),
    "external-entity": ("", "a", "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;</a>"),
    "external-dtd": ("", "a", "<!DOCTYPE a SYSTEM 'a.dtd' [<!NOTATION n PUBLIC 'p'>]><a/>"),
    "parameter-entity": ("", "a", "<!DOCTYPE a [<!ENTITY % p '<!ENTITY e 1>'>%p;]><a>&e;</a>"),
    "deep": ("", "n/n", "<n>" * 80 + "</n>" * 80),
    "unclosed": ("", "", "<a><b x='1'"),
    "mismatched": ("a/b", "", "<a><b></a></b>"),
    "duplicate": ("", "a", "<a x='1' x='2'/>"),
    "namespaces": ("", "n:a", "<n:a xmlns:n='u' n:b='1'/>"),
    "long-name": ("", "n" * 300, "<" + "n" * 300 + " " + "a" * 900 + "='" + "v" * 900 + "'/>"),
    "beyond-ascii": ("", "gr\u00c3\u00b6\u00c3\u009fe", "<gr\u00f6\u00dfe \u00e4='\u20ac'>\U0001f600</gr\u00f6\u00dfe>"),
    "parent-of-root": ("", "..", "<a/>"),
    "empty-names": ("/a//b/", "a//./b/", "<a><b/></a>"),
    "empty": ("", "", ""),
}


# What stands in the groups of a manifest.
MANIFESTS = {
    "registry": "<RegistryGroup><RegistryKey Id='k' Action='create' Root='HKLM' Key='SOFTWARE\\a\\b'/>"
                "<RegistryKey Action='delete' Root='HKCR' Key='SOFTWARE' Platform='x64'/>"
                "<RegistryValue Action='write' AllAccess='yes' Root='HKCU' Key='\\..\\a' Name='n' "
                "Value='-1' Type='dword'/><RegistryValue Action='delete' Type='qword' "
                "Platform='win64'/></RegistryGroup>",
    "files": "<FileGroup><Folder Id='d' Action='write' Overwrite='yes' KeyModule='a.dll' "
             "SourceDir='s' TargetDir='t' Platform='win32'/><Folder Action='delete'/>"
             "<File Action='write' Overwrite='yes' Name='*.dll' SourceDir='s' TargetDir='t'/>"
             "<File Action='delete' Name='a?'/></FileGroup>",
    "paths": "<FileGroup>" + "".join(
        f"<File Action='write' Name='a' SourceDir='{path}' TargetDir='{path}'/>" for path in (
            "..\\..", "C:\\x", "\\\\server\\share", "\\\\.\\nul", "a/../../b", "com1.x", "x. ", "a|b",
            "n" * 300)) + "</FileGroup>",
    "places": "<File/><filegroup/><FileGroup><File><File/></File><Folders/></FileGroup><FileGroup/>"
              "<Other Id='&#246;'><RegistryKey/></Other>",
    "same": "<FileGroup>" + "<Folder Action='write' SourceDir='abc' TargetDir='t'/>" * 3 +
            "<File Action='delete' Name='*'/>" * 2 + "</FileGroup>",
    "back": "<FileGroup>" + "<File Action='write' Name='..' TargetDir='a'/>" * 2 + "</FileGroup>",
    "defaults": "<FileGroup><File/></FileGroup>",
}


def manifest_seeds():
    for name, groups in MANIFESTS.items():
        document = f"<Product>{groups}</Product>"
        if name == "defaults":
            document = "<!DOCTYPE Product [<!ATTLIST File Action CDATA 'write'>]>" + document
        yield "FuzzManifest", name, document.encode()
    for name in ("manifest", "laughs", "external-entity", "mixed", "unclosed"):
        yield "FuzzManifest", name, XML_DOCUMENTS[name][2].encode()


def xml_seeds():
    """Each document in UTF-8, and some in each encoding."""
    for name, (root, path, document) in XML_DOCUMENTS.items():
        head = root.encode() + b"\n" + path.encode("latin-1") + b"\n"
        yield "FuzzXml", name, b"\0" + head + document.encode()
        if name in ("manifest", "mixed", "beyond-ascii"):
            yield "FuzzXml", "utf16-" + name, b"\1" + head + document.encode("utf-16")
            yield "FuzzXml", "latin1-" + name, (
                b"\2" + head + document.encode("latin-1", "xmlcharrefreplace"))
            yield "FuzzXml", "ascii-" + name, (
                b"\3" + head + document.encode("ascii", "replace"))


def host_request(form, identifier, content):
    return bytes([form]) + words(identifier) + struct.pack("<H", len(content)) + content


def host_seeds():
    """Seeds of the development host's own decoders."""
    for name, image in golden_images().items():
        for identifier in (0, 8206, 8273, 8274, 8275):
            # A request stands behind its message id, data without any envelope.
            if "Request" in name:
                yield "FuzzHostRequest", f"{name}-{identifier}", host_request(0, identifier, image[4:])
    for name, image in hostile_messages().items():
        whole = words(len(image)) + image
        yield "FuzzHostRequest", "image-" + name, (
            host_request(0, 8273, whole) + host_request(1, 8274, image))
    for function, text in HOST_REQUESTS.items():
        yield "FuzzHostRequest", f"api-{function}", b"".join(
            host_request(3, 0, bytes([function + i]) + text.encode()) for i in range(6))
    registration = b"".join(host_request(4, 0, bytes([client]) + b"name") for client in range(3))
    request = host_request(2, 0, words(0x4E0009, 400012006)
                           + b'{"eventId":32769,"productProcessName":"p"}')
    publication = host_request(2, 0, words(0x4E0009, 400012008)
                               + b'{"eventId":32769,"param":{"status":1}}')
    yield "FuzzHostRequest", "events", (
        registration + request + publication * 2 + host_request(5, 0, b"\0"))
    yield "FuzzHostRequest", "monitor", host_request(2, 0, words(0x4E000C, 35870) + b'{"pid":7}')
    yield "FuzzHostRequest", "feedback", host_request(2, 0, words(0x4E0010, 1) + b"{}")
    for number, text in enumerate(FAULT_SCRIPTS):
        yield "FuzzHostFaults", f"script-{number}", b"\0" + text.encode()
    for number, text in enumerate(FAULT_FILES):
        yield "FuzzHostFaults", f"file-{number}", b"\1" + text.encode()
    for number, text in enumerate(("7:250", "0x8001:0x10", "7:0")):
        yield "FuzzHostFaults", f"emission-{number}", b"\2" + text.encode()


# Texts with folder tokens: each kind of mistake, and every third of the names.
TOKEN_TEXTS = [
    "", "#", "##", "###", "no token", "#CSIDL_SYSTEM", "CSIDL_SYSTEM#", "#CSIDL_UNKNOWN#a",
    "#CSIDL_WINDOWS#\\a", "b#CSIDL_COMMON_APPDATA#\\c", "#CSIDL_SYSTEM##CSIDL_WINDOWS#",
    "##CSIDL_SYSTEM#", "#csidl_system#", "# CSIDL_SYSTEM #", "#CSIDL_COMMON_APPDAT#",
    "#CSIDL_LOCAL_APPDATA#", "#CSIDL_PROGRAM_FILES_COMMONX86#", "#CSIDL_PROGRAM_FILES_COMMON#",
    "#CSIDL_DESKTOPDIRECTORY#", "#CSIDL_DESKTOP#", "#CSIDL_APPDATA#", "#CSIDL_MYVIDEO#",
    "#CSIDL_RECENT#", "#CSIDL_STARTMENU#", "#CSIDL_INTERNET_CACHE#", "#CSIDL_HISTORY#",
]


def foundation_seeds():
    """Seeds of enciphered text, JSON databases and text helpers."""
    texts = ("a", "fifteen letters", "sixteen letters!", "\x10" * 16, "ends like padding\x02\x02",
             "x" * 191, "x" * 192, "x" * 254, "x" * 255, "\u00e4\u00ff", "", "text\0behind a NUL")
    for number, text in enumerate(texts):
        yield "FuzzDecipher", f"fixed-{number}", b"\x01\0" + text.encode("latin-1")
        yield "FuzzDecipher", f"hexadecimal-{number}", b"\0\0" + text.encode("latin-1")
    base64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
    for name, text in {"base64": base64 * 5 + "==", "lines": "\r\n".join([base64] * 5),
                       "foreign": " \t-_." + base64, "padding": "QQ==" + base64,
                       "padding-alone": "====", "six-bits": "Q=", "limit": "A" * 271}.items():
        yield "FuzzDecipher", "fixed-" + name, b"\x01\0" + text.encode()
    digits = "00112233445566778899aabbccddeeff"
    for name, more, text in (("block", 0, digits), ("blocks", 0, digits * 3), ("upper", 0, digits.upper()),
                             ("odd", 0, digits * 2 + "7"), ("no-digits", 0, "0x zz-1 +1" * 8),
                             ("fewer", 240, digits * 2), ("more", 100, digits), ("part", 0, digits * 2 + "00")):
        yield "FuzzDecipher", "hexadecimal-" + name, bytes([0, more]) + text.encode()
    for name, text in JSON_TEXTS.items():
        yield "FuzzJsonDb", "plain-" + name, b"\0" + text.encode()
        yield "FuzzJsonDb", "cipher-" + name, b"\x03" + text.encode()
    for name, text in {"magic": "WYJSONDB", "magic-odd": "WYJSONDB7", "magic-digits": "WYJSONDB" + digits * 2,
                       "magic-part": "WYJSONDB" + digits * 2 + "00", "magic-lower": "wyjsondb" + digits,
                       "magic-short": "WYJSOND", "magic-text": "WYJSONDB{}",
                       "locale": '{"localMapping":[{"lcid":1031,"localeName":"DE-DE"}],"defaultLocal":"x"}',
                       }.items():
        yield "FuzzJsonDb", name, b"\2" + text.encode()
    for name, length, text in (("list", 1, ";a;b; c ;;d;"), ("blanks", 1, "   a  b "), ("long", 2, "--a--b---c-"),
                               ("none", 0, "no delimiter"), ("alone", 3, "abc"), ("empty", 0, ""),
                               ("percent", 1, "%100%s%n%ls"), ("nul", 1, ";a;\0b;c"), ("same", 2, "aaaaaaaa"),
                               ("size", 1, "," + "x" * 300 + "," + "y" * 300)):
        head = bytes([length])
        yield "FuzzText", name, b"\0" + head + b"\x10\0" + text.encode()
        yield "FuzzText", "units-" + name, b"\2" + head + b"\0\1" + text.encode("utf-16-le")
    yield "FuzzText", "units-surrogates", b"\2\1\1\0" + b";\0\0\xd8;\0\xff\xff\0\xdc"


def seeds():
    """All seeds: target, name, bytes."""
    golden = golden_images()
    hostile = hostile_messages()
    for name, image in golden.items():
        # Two integers and a text in a failure envelope, an integer and a handle in all others.
        kinds = b"\x03\x00\x00\x02" if name.endswith("Envelope") else b"\x02\x00\x01"
        yield "FuzzEnvelope", name, kinds + image
        delivery = b"\x01" if name == "EventDelivery" else b"\x00"
        body = image[4:] if name == "EventDelivery" else image
        yield "FuzzCommandResult", name, delivery + body
        if not name.endswith("Envelope"):
            yield "FuzzParamMessage", name, image[8:]
    for name, image in hostile.items():
        yield "FuzzParamMessage", name, image
        yield "FuzzEnvelope", name, b"\x01\x01" + words(len(image)) + image
        yield "FuzzCommandResult", name, b"\x00" + words(202, len(image)) + image
        yield "FuzzEventEntry", "image-" + name, b"\x00" + image
    yield "FuzzEnvelope", "negative-size", b"\x01\x01" + words(0x80000000)
    yield "FuzzEnvelope", "size-4g", b"\x01\x02" + words(0xFFFFFFFF)
    yield "FuzzEnvelope", "short", b"\x01\x00\x01\x02\x03"
    yield "FuzzCommandResult", "marker-alone", b"\x00" + words(202)
    yield "FuzzCommandResult", "failure-alone", b"\x00" + words(2)
    for name, text in JSON_TEXTS.items():
        yield "FuzzJson", name, b"\x00" + text.encode()
        yield "FuzzJson", "units-" + name, b"\x01" + text.encode("utf-16-le")
        yield "FuzzEventEntry", "json-" + name, b"\x01" + text.encode()
    yield "FuzzJson", "units-surrogates", b"\x01" + '"\U0001f600'.encode("utf-16-le") + b"\x00\xd8\x22\x00"
    for number, text in enumerate(TOKEN_TEXTS):
        yield "FuzzCsidlText", f"{number:02}", bytes([1 + number % 2 * 2]) + text.encode()
        if number % 4 == 0:
            yield "FuzzCsidlText", f"{number:02}-units", b"\x05" + text.encode("utf-16-le")
    # One function after the other, so that the seeds meet every kind of output.
    texts = {**JSON_TEXTS, **ANSWERS}
    for number in range(57):
        name = list(texts)[number % len(texts)]
        yield "FuzzReplyOutputs", f"{number}-{name}", bytes([number, 0]) + texts[name].encode()
    yield from host_seeds()
    yield from foundation_seeds()
    yield from xml_seeds()
    yield from manifest_seeds()
    yield from trace_seeds()
    for number in (0, 4, 44):
        yield "FuzzReplyOutputs", f"null-{number}", bytes([number, 0xFE]) + ANSWERS["numbers"].encode()
        yield "FuzzReplyOutputs", f"units-{number}", (
            bytes([number, 1]) + ANSWERS["texts"].encode("utf-16-le"))


def trace_seeds():
    """Prefix, name, program, extension and folder of a configuration of the trace module."""
    for number, text in enumerate((
            "qrn|WySdk||log|", "qrn|WySdk|WySvcHost|log|%commonappdata%\\x", "||||",
            "..|..||..|..\\..\\x", "|con||txt|C:\\logs\\", "|lpt1 .x||log|C:/a/./b/../c",
            "a:b|c*d||e?f|\\\\server\\share\\x", "|nul||.log|\\\\.\\pipe\\x",
            "|" + 300 * "x" + "||" + 300 * "e" + "|" + 300 * "\\a", "con.|x||log|C:logs",
            "p|n. . .||l . .|\\\\?\\C:\\x", "\u20ac|\xe4|\U0001f600|log|D:\\\u20ac")):
        yield "FuzzTraceName", f"units-{number}", b"\x01" + text.encode("utf-16-le")
        if text.isascii():
            yield "FuzzTraceName", f"{number}", b"\x00" + text.encode()


def main():
    for old in (HERE / "corpus").glob("*/seed-*"):
        old.unlink()
    count = size = 0
    for target, name, content in seeds():
        folder = HERE / "corpus" / target
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"seed-{name}").write_bytes(content)
        count += 1
        size += len(content)
    print(f"{count} seeds, {size} bytes")


if __name__ == "__main__":
    main()
