#!/usr/bin/python3
"""Prints the binary interface of the public headers, as compiled.

layout.py tables OBJECT READELF CLASS_DUMP
layout.py members OBJECT READELF
layout.py symbols OBJECT READELF <NM_OUTPUT

tables: every slot of every virtual table, in order. The slots' operations come from the debug information of OBJECT
(which has the arguments and the result), destructors and the tables of further bases from CLASS_DUMP
(-fdump-lang-class); where both have a slot, they must agree. members: size, bases and data members with their offsets
and types, and the enumerators with their values, from the debug information. symbols: what `nm` lists, demangled, a
function with its result from the debug information.
"""
import re
import subprocess
import sys

CLASSES = [
    "Point", "ValueObject", "ValueHandler", "ValueHandlerT<SystemSetting>", "ValueAccessBase", "SystemAccess",
    "ValueAccessT<lomodelapi::ObserverNumericInteger>", "ValueAccessT<lomodelapi::ObserverNumericInt64>",
    "ValueAccessT<lomodelapi::ObserverString>", "ValueAccessT<lomodelapi::ObserverVectorNumericInteger>",
    "ValueAccessT<lomodelapi::ObserverVectorString>", "ActionHandler", "ActionAccess", "TableHandler", "TableAccess",
    "IteratorHandler", "IteratorAccess", "SystemInfoInterface", "SystemInfo", "SystemSettingInterface",
    "SystemSetting", "PictureCapture", "korvale::ai::PictureData", "SystemStateInterface", "SystemState",
    "SourceSwitchAccess", "SourceSwitchAccessImpl", "lomodelapi::Argument", "lomodelapi::Observer",
    "lomodelapi::ObserverNumericInteger", "lomodelapi::ObserverNumericInt64", "lomodelapi::ObserverString",
    "lomodelapi::ObserverVectorNumericInteger", "lomodelapi::ObserverVectorString", "lomodelapi::ObserverAction",
    "lomodelapi::ObserverTable", "lomodelapi::ObserverTableIterator", "lomodelapi::IteratorType",
    "lomodelapi::TableSelection", "lomodelapi::TableOrder", "zt::appmanager::AppInterface", "video::CaptureBlock",
    "Mutex", "UniqueLock", "ConditionVariable", "ValueObject::Scalar",
]
SCOPES = ("DW_TAG_namespace", "DW_TAG_class_type", "DW_TAG_structure_type", "DW_TAG_union_type")


def run(*command, text=None):
    return subprocess.run(command, input=text, capture_output=True, text=True, check=True).stdout


def shorten(name):
    text = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
    name, count = name.replace(text, "std::string"), 1
    while count > 0:
        name, count = re.subn(r"(std::vector<((?:[^<>]|<[^<>]*>)*?)), std::allocator<\2\s*> >", r"\1>", name)
    return name


def demangle(names):
    return dict(zip(names, map(shorten, run("c++filt", text="\n".join(names)).splitlines())))


class Entry:
    def __init__(self, tag, parent):
        self.tag, self.parent, self.children, self.attributes = tag, parent, [], {}

    def name(self):
        own = self.attributes.get("DW_AT_name", "")
        scope = self.parent
        while scope is not None and scope.tag in SCOPES:
            own = scope.attributes.get("DW_AT_name", "") + "::" + own
            scope = scope.parent
        return own

    def number(self, attribute):
        return int(self.attributes.get(attribute, "0"), 0)


def debug_information(readelf, path):
    """The entries by their offsets."""
    entries, stack, entry = {}, [], None
    for line in run(readelf, "--debug-dump=info", path).splitlines():
        if match := re.match(r"\s*<([0-9a-f]+)><([0-9a-f]+)>: Abbrev Number: \d+ \((\w+)\)", line):
            depth = int(match[1], 16)
            del stack[depth:]
            entry = Entry(match[3], stack[-1] if stack else None)
            if stack:
                stack[-1].children.append(entry)
            stack.append(entry)
            entries[int(match[2], 16)] = entry
        elif entry is not None and (match := re.match(r"\s*<[0-9a-f]+>\s+(DW_AT_\w+)\s*: (.*)", line)):
            value = re.sub(r"^\((?:indirect|alt indirect)[^)]*\): ", "", match[2]).strip()
            entry.attributes[match[1]] = re.sub(r"\s*\(.*\)$", "", value) if match[1] != "DW_AT_name" and \
                match[1] != "DW_AT_vtable_elem_location" else value
    return entries


def reference(entries, entry, attribute):
    return entries[int(entry.attributes[attribute].strip("<>"), 16)]


def type_of(entries, entry, declarator=""):
    """The type of a member, or the result of a function, with typedefs resolved; `declarator` follows its name."""
    if "DW_AT_type" not in entry.attributes:
        return "void" + declarator
    wanted = reference(entries, entry, "DW_AT_type")
    mark = {"DW_TAG_pointer_type": "*", "DW_TAG_reference_type": "&", "DW_TAG_rvalue_reference_type": "&&",
            "DW_TAG_const_type": " const", "DW_TAG_volatile_type": " volatile"}.get(wanted.tag)
    if mark is not None:
        return type_of(entries, wanted, mark + declarator)
    if wanted.tag == "DW_TAG_typedef" and type_of(entries, wanted) != "":
        return type_of(entries, wanted, declarator)
    if wanted.tag == "DW_TAG_array_type":
        lengths = [f"[{child.number('DW_AT_upper_bound') + 1}]" for child in wanted.children]
        return type_of(entries, wanted, declarator + "".join(lengths))
    if wanted.tag == "DW_TAG_subroutine_type":
        parameters = [type_of(entries, child) for child in wanted.children
                      if "DW_AT_artificial" not in child.attributes]
        return type_of(entries, wanted, f" ({declarator})({', '.join(parameters)})")
    if wanted.tag == "DW_TAG_ptr_to_member_type":
        owner = reference(entries, wanted, "DW_AT_containing_type").name()
        return type_of(entries, wanted, f"{owner}::*{declarator}")
    return shorten(wanted.name()) + declarator


def classes_of(entries):
    found = {}
    for entry in entries.values():
        if entry.tag in SCOPES[1:] and "DW_AT_declaration" not in entry.attributes:
            found.setdefault(entry.name(), entry)
    missing = [name for name in CLASSES if name not in found]
    if missing:
        sys.exit("no layout of " + ", ".join(missing))
    return found


def bases_of(entries, entry):
    return [(reference(entries, child, "DW_AT_type"), child.number("DW_AT_data_member_location"))
            for child in entry.children if child.tag == "DW_TAG_inheritance"]


def slots_of(entries, entry):
    """The operations of the primary table by their slots, without destructors."""
    slots = {}
    for base, offset in bases_of(entries, entry):
        if offset == 0:
            slots.update(slots_of(entries, base))
    for child in entry.children:
        location = child.attributes.get("DW_AT_vtable_elem_location", "")
        if match := re.search(r"DW_OP_constu: (\d+)", location):
            slots[int(match[1])] = child
    return slots


def dumped_tables(path):
    """The tables of each class, each a list of names without arguments."""
    tables, current = {}, None
    for line in open(path, encoding="utf-8"):
        if match := re.match(r"Vtable for (.*)", line):
            current = tables[match[1]] = []
        elif match := re.match(r"\d+\s+(?:\(int \(\*\)\(\.\.\.\)\))?(.*)", line):
            if current is None:
                continue
            if "& _ZTI" in match[1]:
                current.append([])
            elif current and not re.fullmatch(r"-\d+", match[1]):
                current[-1].append(match[1])
        elif not line.strip():
            current = None
    return tables


def print_tables(entries, dump):
    found, dumped = classes_of(entries), dumped_tables(dump)
    for name in CLASSES:
        tables = dumped.get(name)
        if tables is None:
            continue
        slots = slots_of(entries, found[name])
        thunks = [entry.split("::")[-1] for table in tables[1:] for entry in table]
        plain = demangle([slot.attributes["DW_AT_linkage_name"] for slot in slots.values()] + thunks)
        print(name)
        for number, entry in enumerate(tables[0]):
            if number not in slots:
                print(f"  {number:2} destructor" if "~" in entry or entry == "0" else f"  {number:2} {entry}")
                continue
            operation = plain[slots[number].attributes["DW_AT_linkage_name"]]
            pure = entry == "__cxa_pure_virtual"
            bare = re.sub(r"(\[abi:\w+\])?\(.*", "", operation)
            if not pure and entry.split("<")[0].split("::")[-1] != bare.split("<")[0].split("::")[-1] and \
                    not bare.endswith("::" + entry.split("::")[-1]):
                sys.exit(f"{name}, slot {number}: the class dump says {entry}, the debug information {operation}")
            print(f"  {number:2} {type_of(entries, slots[number])} {operation}{' = 0' if pure else ''}")
        for table in tables[1:]:
            print("  as a further base:")
            for number, entry in enumerate(table):
                operation = plain[entry.split("::")[-1]] if "::_Z" in entry else entry
                print(f"  {number:2} " + ("destructor" if "~" in operation else operation))
        print()


def print_members(entries):
    found = classes_of(entries)
    for name in CLASSES:
        entry = found[name]
        print(f"{name}: {entry.number('DW_AT_byte_size')} bytes")
        for base, offset in bases_of(entries, entry):
            print(f"  {offset:4} base {base.name()}")
        for child in entry.children:
            if child.tag != "DW_TAG_member" or "DW_AT_external" in child.attributes:
                continue
            member = child.attributes.get("DW_AT_name", "")
            if member.startswith("_vptr"):
                member = "virtual table"
            else:
                member = f"{type_of(entries, child)} {member}"
            print(f"  {child.number('DW_AT_data_member_location'):4} {member}")
        print()
    for entry in entries.values():
        name = entry.name()
        if entry.tag != "DW_TAG_enumeration_type" or "DW_AT_declaration" in entry.attributes or \
                re.match(r"(std|__gnu_cxx|boost)::|$", name):
            continue
        print(f"{name}: {type_of(entries, entry)}")
        for child in entry.children:
            print(f"  {child.number('DW_AT_const_value'):4} {child.attributes['DW_AT_name']}")
        print()


def print_symbols(entries, listed):
    """A constructor or destructor, which has no result, has one line for all of its variants."""
    declared = {entry.attributes.get("DW_AT_linkage_name"): entry for entry in entries.values()}
    symbols = re.findall(r"^\w+ (\w) (\w+)", listed, re.MULTILINE)
    plain = demangle([name for _, name in symbols])
    lines = set()
    for kind, name in symbols:
        result = ""
        if entry := declared.get(name):
            static = entry.parent.tag in SCOPES[1:] and "DW_AT_object_pointer" not in entry.attributes
            result = ("static " if static else "") + type_of(entries, entry) + " "
        what = {"A": "version", "T": "function", "W": "function"}.get(kind, "object")
        lines.add((plain[name], f"{what} {result}{plain[name]}"))
    for _, line in sorted(lines):
        print(line)


def main():
    what, path, readelf = sys.argv[1:4]
    entries = debug_information(readelf, path)
    if what == "tables":
        print_tables(entries, sys.argv[4])
    elif what == "members":
        print_members(entries)
    else:
        print_symbols(entries, sys.stdin.read())


main()
