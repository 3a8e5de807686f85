"""gdb printers for the library's types.

Installed where gdb loads them with the library (see cmake/Install.cmake); by hand:
(gdb) source tools/gdb/vorn.py

Behind a pointer everything is read by its place in memory, which is part of the binary interface: a
client's debug information need not describe what it only points to, and the library's is often
stripped.
"""

import itertools
import struct

import gdb
import gdb.printing


def words(address, layout):
    """The numbers at `address`, in the notation of `struct`."""
    memory = gdb.selected_inferior().read_memory(int(address), struct.calcsize(layout))
    return struct.unpack(layout, memory.tobytes())


def expect(held, otherwise):
    if not held:
        raise ValueError(otherwise)


def at(pointer):
    """What `pointer` points to, read now so that failing to read it fails here."""
    value = pointer.dereference()
    value.fetch_lazy()
    return value


def text_at(rep, start=0, count=None):
    """The text of the StringRep at `rep`, or `count` bytes of it from `start`."""
    chars = gdb.lookup_type("char").pointer()
    if not rep:
        return gdb.Value(0).cast(chars).lazy_string(length=0)
    buffer, length, capacity, holders = words(rep, "=QIIi")
    expect(holders > 0, "released text")
    expect(length < capacity or not (buffer or length or capacity), "not a text")
    count = length - start if count is None else count
    expect(start + count <= length, "range outside of its text")
    return gdb.Value(buffer + start).cast(chars).lazy_string(length=count)


class Printer:
    """Base of the printers. `read` returns the text and the children, if any; what cannot be read
    shows as an error in their place."""

    hint = None

    # gdb's own errors are RuntimeErrors.
    def __init__(self, value):
        try:
            self.text, self.entries = self.read(value)
        except (RuntimeError, ValueError, OverflowError) as error:
            self.hint, self.text, self.entries = None, f"<error: {error}>", None

    def display_hint(self):
        return self.hint

    def to_string(self):
        return self.text

    def children(self):
        try:
            yield from self.entries or ()
        except (RuntimeError, ValueError, OverflowError) as error:
            yield "error", f"<error: {error}>"


class StringPrinter(Printer):
    hint = "string"

    def read(self, value):
        return text_at(value["rep"]), None


class SubStringPrinter(Printer):
    hint = "string"

    def read(self, value):
        if not value["rep"]:
            return text_at(0), None
        rep, start, count, holders = words(value["rep"], "=QIII")
        expect(holders > 0, "released view")
        return text_at(rep, start, count), None


class WStringPrinter(Printer):
    hint = "string"

    def read(self, value):
        data, length = value["_M_dataplus"]["_M_p"], int(value["_M_string_length"])
        return data.lazy_string(length=length), None


class VectorPrinter(Printer):
    hint = "array"

    def read(self, value):
        data, count, capacity = value["elements"], int(value["count"]), int(value["capacity"])
        expect(count <= capacity and (data or not count), "not a vector")
        elements = ((f"[{i}]", at(data + i)) for i in range(count))
        return f"Vector of length {count}, capacity {capacity}", elements


FIELDS_ONLY = 2  # Vorn::AttribValuePair::kFieldsOnly


class AttribValuePairPrinter(Printer):
    hint = "string"

    def read(self, value):
        if int(value["state"]) != FIELDS_ONLY:
            return text_at(value["line"]["rep"]), None
        parts = [text_at(value[part]["rep"]) for part in ("attrib", "value")]
        return "=".join(part.value().string(errors="replace") if part.length else ""
                        for part in parts), None


# Like those of standard handles it shows the address; `print *handle.object` shows the object.
class PtrPrinter(Printer):
    def read(self, value):
        kind = f"Vorn::Ptr<{value.type.strip_typedefs().template_argument(0)}>"
        if not value["object"]:
            return f"{kind} (null)", None
        (count,) = words(value["counter"], "=i")
        expect(count > 0, "released object")
        return f"{kind} (count {count})", iter([("object", value["object"])])


class CriticalSectionPrinter(Printer):
    def read(self, value):
        depth, owner, name = words(value["rep"]["object"], "=16xIIQ")
        return "CriticalSection", iter(
            [("name", text_at(name)), ("owner", owner), ("depth", depth)])


class VornIniFilePrinter(Printer):
    hint = "map"

    def read(self, value):
        tree = value["sections"]["_M_t"]["_M_impl"]
        size, root = int(tree["_M_node_count"]), tree["_M_header"]["_M_parent"]
        sections = value["sections"].type.strip_typedefs()
        name, entries = (sections.template_argument(i).pointer() for i in (0, 1))

        def nodes(node):
            if node:
                yield from nodes(node["_M_left"])
                yield node + 1  # The pair follows the links.
                yield from nodes(node["_M_right"])

        def children():
            for pair in itertools.islice(nodes(root), size):
                yield "name", at(pair.cast(name))
                yield "entries", at((pair.cast(name) + 1).cast(entries))

        return f"VornIniFile with {size} sections", children()


PRINTERS = {
    "String": StringPrinter,
    "SubString": SubStringPrinter,
    r"std::(__\w+::)?basic_string<(wchar_t|char), .*StdAllocator<.*": WStringPrinter,
    "Vector<.*": VectorPrinter,
    "Vorn::AttribValuePair": AttribValuePairPrinter,
    "Vorn::Ptr<.*": PtrPrinter,
    "CriticalSection": CriticalSectionPrinter,
    "VornIniFile": VornIniFilePrinter,
}

collection = gdb.printing.RegexpCollectionPrettyPrinter("vorn")
for pattern, printer in PRINTERS.items():
    collection.add_printer(printer.__name__[: -len("Printer")], f"^{pattern}$", printer)
gdb.printing.register_pretty_printer(gdb.current_objfile(), collection, replace=True)
