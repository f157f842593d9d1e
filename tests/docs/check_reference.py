"""Makes the reference with Doxygen, which must have no warning, and checks that all that the header declares and the
library exports is in it, with its arguments: check_reference.py SOURCE LIBRARY DOXYGEN"""

import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

SOURCE, LIBRARY, DOXYGEN = sys.argv[1:]
# What returns no status of its own, or only that of another function.
WITHOUT_STATUSES = {"orvzkFreeAligned", "orvizkDCTQuantInv8x8TmpBufferSize", "orvizkDecodeHuffmanSpecFree_JPEG_8u",
                    "orvizkQuantInvTableFree", "orvizkQuantInvTableInit_JPEG_8u16u",
                    "orvizkDCTQuantInv8x8LS_JPEG_16s8u_C1R",
                    "orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R",
                    "orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3"}


def read(name):
    with open(os.path.join(SOURCE, name), encoding="utf-8") as file:
        return file.read()


def members(folder):
    """Name -> element, of all functions and variables in the reference."""
    found = {}
    for name in os.listdir(folder):
        for member in xml.etree.ElementTree.parse(os.path.join(folder, name)).iter("memberdef"):
            if member.get("kind") in ("function", "variable"):
                found[member.findtext("name")] = member
    return found


def faults(name, member):
    if not "".join(member.find("briefdescription").itertext()).strip():
        yield "has no text"
    if name.startswith("orv"):
        arguments = {argument.findtext("declname") for argument in member.findall("param")} - {None}
        described = {node.text for node in member.iter("parametername")}
        if name != "orvGetStatusString" and arguments - described:
            yield f"does not say what {', '.join(sorted(arguments - described))} is"
        statuses = any(node.get("kind") == "return" and node.find(".//table") is not None
                       for node in member.iter("simplesect"))
        if member.findtext("definition").startswith("VelStatus ") and statuses == (name in WITHOUT_STATUSES):
            yield "has statuses" if statuses else "has no statuses"


def main():
    with tempfile.TemporaryDirectory() as folder:
        settings = read("docs/reference/Doxyfile") + f"""
            OUTPUT_DIRECTORY = {folder}
            GENERATE_HTML = NO
            GENERATE_XML = YES
            XML_PROGRAMLISTING = NO
            """
        if subprocess.run([DOXYGEN, "-"], input=settings, text=True, cwd=SOURCE).returncode:
            sys.exit("Doxygen warns")
        reference = members(os.path.join(folder, "xml"))
    exported = set(re.findall(r" (\w+)$", subprocess.run(["nm", "-D", "--defined-only", LIBRARY], check=True, text=True,
                                                       capture_output=True).stdout, re.MULTILINE))
    header = re.sub(r"/\*.*?\*/", "", read("include/orv.h"), flags=re.DOTALL)
    declared = exported & set(re.findall(r"\w+", header))
    said = [f"{name} is missing" for name in sorted(declared - reference.keys())]
    for name in sorted(declared & reference.keys()):
        said += [f"{name} {fault}" for fault in faults(name, reference[name])]
    if said or len(declared) < 400:
        sys.exit("\n".join(["in the reference,", *said, f"of {len(declared)} names"]))
    print(f"{len(declared)} functions and variables")


main()
