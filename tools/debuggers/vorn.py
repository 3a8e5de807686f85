"""Shows the library's types in gdb and lldb.

gdb loads what is installed beside the library (see cmake/Install.cmake). By hand:
(gdb) source tools/debuggers/vorn.py
(lldb) command script import tools/debuggers/vorn.py

All is read by its place in memory, which is part of the binary interface: debug information may
describe a type or only name it, in the program and in the library. A reader gets a `value` with
`words(layout)`, the numbers that it begins with in the notation of `struct`, and its template's first
`argument()`; it returns what the value reads as and its children, pairs of a name and what to show.
"""

import collections
import itertools
import re
import struct

try:
    import gdb
    import gdb.printing
    import gdb.xmethod
except ImportError:
    import lldb

Text = collections.namedtuple("Text", "address size width", defaults=(1,))
Object = collections.namedtuple("Object", "address type")
Pointer = collections.namedtuple("Pointer", "address type")


class Quoted(str):
    """Text that was put together here."""


# gdb's own errors are RuntimeErrors, and so is a recursion that does not end.
ERRORS = (RuntimeError, ValueError, OverflowError)


def words(address, layout):
    return struct.unpack(layout, read(address, struct.calcsize(layout)))


def expect(held, otherwise):
    if not held:
        raise ValueError(otherwise)


def plain(text):
    encoding = "utf-8" if text.width == 1 else "utf-32-le"
    return read(text.address, text.size * text.width).decode(encoding, "replace")


def c_string(address):
    """What is there before the first zero byte, read page by page."""
    text = b""
    while address and b"\0" not in text:
        text += read(address + len(text), 4096 - (address + len(text)) % 4096)
    return text.split(b"\0")[0].decode(errors="replace")


def text_at(rep, start=0, size=None, fresh=False):
    """The text of the StringRep at `rep`, or `size` bytes of it from `start`."""
    if not rep:
        return Text(0, 0)
    buffer, length, capacity, holders = words(rep, "=QIIi")
    expect(holders > 0 or fresh, "released text")
    expect(length < capacity or not (buffer or length or capacity), "not a text")
    size = length - start if size is None else size
    expect(start + size <= length, "range outside of its text")
    return Text(buffer + start, size)


def string(value):
    return text_at(*value.words("=Q")), ()


def string_rep(value):
    _, _, capacity, holders = value.words("=QIIi")
    text = text_at(value.address, fresh=True)
    return f"StringRep (count {holders}, capacity {capacity})", [("text", text)]


def string_char(value):
    string, index = value.words("=QI")
    text = text_at(*words(string, "=Q"))
    byte = read(text.address + index, 1)[0] if index < text.size else 0
    return "StringChar", [("index", index), ("byte", byte)]


def sub_string(value):
    (view,) = value.words("=Q")
    if not view:
        return Text(0, 0), ()
    rep, start, size, holders = words(view, "=QIII")
    expect(holders > 0, "released view")
    return text_at(rep, start, size), ()


def standard_string(value):
    address, size = value.words("=QQ")
    return Text(address, size, size_of(value.argument())), ()


def vector(value):
    elements, count, capacity = value.words("=8xQII")
    kind = value.argument()
    expect(count <= capacity and (elements or not count), "not a vector")
    children = ((f"[{i}]", Object(elements + i * size_of(kind), kind)) for i in range(count))
    return f"Vector of length {count}, capacity {capacity}", children


FIELDS_ONLY = 2  # Vorn::AttribValuePair::kFieldsOnly


def line_of(numbers):
    """The line of an AttribValuePair, and where it is cut in two."""
    state, separator, *reps = numbers
    expect(0 <= state <= FIELDS_ONLY, "not an entry")
    line, attrib, value = (plain(text_at(rep)) if rep else "" for rep in reps)
    separator = separator.decode("latin-1")
    return (attrib + separator + value if state == FIELDS_ONLY else line), separator


PAIR = "=ixcxxQQQ"


def attrib_value_pair(value):
    return Quoted(line_of(value.words(PAIR))[0]), ()


def entries(prefix, begin, end):
    """The AttribValuePairs of a vector; what is no setting has the prefix alone for a name."""
    size = struct.calcsize(PAIR)
    expect(begin <= end and (end - begin) % size == 0, "not a vector")
    for pair in range(begin, end, size):
        line, separator = line_of(words(pair, PAIR))
        key, found, setting = line.partition(separator)
        yield f"{prefix} {key}" if found else prefix, setting if found else line


def ptr(value):
    counter, address = value.words("=QQ")
    kind = value.argument()
    if not address:
        return f"Vorn::Ptr<{kind.name}> (null)", ()
    (count,) = words(counter, "=i")
    expect(count > 0, "released object")
    return f"Vorn::Ptr<{kind.name}> (count {count})", [("object", Pointer(address, kind))]


def lock_at(rep):
    depth, owner, name = words(rep, "=16xIIQ")
    return [("name", text_at(name)), ("owner", owner), ("depth", depth)]


def critical_section(value):
    return "CriticalSection", lock_at(*value.words("=8xQ"))


def easy_crit(value):
    return "EasyCrit", lock_at(*words(*value.words("=Q"), "=8xQ"))


SECTION = "=32xQQQ"  # A node of the map: its links, the name, the entries.


def ini_file(value):
    root, size = value.words("=56xQ16xQ")

    def nodes(node):
        if node:
            left, right = words(node, "=16xQQ")
            yield from nodes(left)
            yield node
            yield from nodes(right)

    def children():
        for node in itertools.islice(nodes(root), size):
            name, begin, end = words(node, SECTION)
            yield from entries(f"[{plain(text_at(name))}]", begin, end)

    return f"VornIniFile with {size} sections", children()


def section_iterator(value):
    current, end = value.words("=QQ")
    if current == end:
        return "SectionIterator (not valid)", ()
    name, first, last = words(current, SECTION)
    name = f"[{plain(text_at(name))}]"
    return f"SectionIterator on {name}", entries(name, first, last)


BLANKS = bytes(range(33)) + b"\x7f"


def settings(value):
    (model,) = value.words("=8xQ")
    lines, end = words(model, "=QQ") if model else (0, 0)
    count = (end - lines) // 24

    def children():
        prefix, index = "", 0
        for _ in range(count):
            expect(index < count, "not settings")
            text, size, index, kind = words(lines + 24 * index, "=QII4xI")
            kind >>= 30  # SettingsPrivate::Model::Kind
            line = read(text, size).strip(BLANKS).decode(errors="replace") if kind else ""
            if kind == 1:
                key, _, setting = (part.strip(BLANKS.decode()) for part in line.partition("="))
                yield prefix + key, setting
            elif line:
                prefix = f"{line} "
            if not index:
                break

    return "Settings", children()


def exception(value):
    what, message, file, line = value.words("=8xQQQi")
    return c_string(what), [
        ("msg", c_string(message)), ("file", c_string(file)), ("line", line)]


def named_objects(value):
    first, size, name = value.words("=Q8xQ16xQ")

    def children():
        node = first
        for _ in range(size):
            node, info = words(node, "=Q8xQ")
            address, kind, key = words(info, "=8xQ16xQQ")
            yield f"[{plain(text_at(kind))}] {plain(text_at(key))}", Pointer(address, None)

    return f"NamedObjectsNamespace {plain(text_at(name))} with {size} keys", children()


def pool(value):
    (stats,) = value.words("=8xQ")
    name, in_use, most, pops, start, peak = words(stats, "=Qiii4xdd")
    return "LoggingTraitsBase", [
        ("name", c_string(name)), ("inUse", in_use), ("maxInUse", most),
        ("allocsInInterval", pops), ("intervalStartMs", start), ("peakRatePerMs", peak)]


def stack(value):
    head, count = value.words("=Qi")
    return f"Stack with {count} nodes", [("head", Pointer(head, value.argument()))]


READERS = {
    "String": string,
    "StringRep": string_rep,
    "StringChar": string_char,
    "SubString": sub_string,
    r"std::(__cxx11::)?basic_string<(wchar_t|char), .*StdAllocator<.*": standard_string,
    "Vector<.*": vector,
    "Vorn::AttribValuePair": attrib_value_pair,
    "Vorn::Ptr<.*": ptr,
    "CriticalSection": critical_section,
    "EasyCrit": easy_crit,
    "VornIniFile": ini_file,
    "VornIniFile::BasicSectionIterator<.*": section_iterator,
    "Vorn::Settings": settings,
    "Vorn::Exception::(Base|LogicError|RuntimeError)": exception,
    "Vorn::NamedObjectsNamespace": named_objects,
    "Vorn::PooledObjectDebug::LoggingTraitsBase": pool,
    "Vorn::LockFree::Stack<.*": stack,
}


def shown(reader, value):
    """What the value reads as, and its children; where something cannot be read it says so."""

    def guarded(children):
        try:
            yield from children
        except ERRORS as error:
            yield "error", str(error)

    try:
        text, children = reader(value)
        return text, guarded(children)
    except ERRORS as error:
        return f"<error: {error}>", ()


if "gdb" in globals():

    def read(address, size):
        return gdb.selected_inferior().read_memory(address, size).tobytes() if size else b""

    def image(value):
        """The bytes of a value that is not in memory, such as the result of a call."""
        kind = value.type.strip_typedefs()
        if kind.code == gdb.TYPE_CODE_STRUCT:
            whole = bytearray(kind.sizeof)
            for field in kind.fields():
                if hasattr(field, "bitpos"):
                    part = image(value[field])
                    whole[field.bitpos // 8:field.bitpos // 8 + len(part)] = part
            return bytes(whole)
        if kind.code in (gdb.TYPE_CODE_ARRAY, gdb.TYPE_CODE_UNION):
            return bytes(kind.sizeof)
        return (int(value) % (1 << 8 * kind.sizeof)).to_bytes(kind.sizeof, "little")

    def size_of(kind):
        return kind.sizeof

    class Value:
        def __init__(self, value):
            self.value = value if value.type.code not in (
                gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF) else value.referenced_value()
            self.address = int(self.value.address) if self.value.address is not None else None

        def words(self, layout):
            if self.address is not None:
                return words(self.address, layout)
            return struct.unpack_from(layout, image(self.value))

        def argument(self):
            return self.value.type.strip_typedefs().template_argument(0)

    def as_value(thing):
        if isinstance(thing, Text):
            kind = gdb.lookup_type("char" if thing.width == 1 else "wchar_t").pointer()
            return gdb.Value(thing.address).cast(kind).lazy_string(length=thing.size)
        if isinstance(thing, str):
            encoded = thing.encode() + b"\0"
            return gdb.Value(encoded, gdb.lookup_type("char").array(len(encoded) - 1))
        if isinstance(thing, Pointer):
            kind = thing.type or gdb.lookup_type("void")
            return gdb.Value(thing.address).cast(kind.pointer())
        if isinstance(thing, Object):
            value = gdb.Value(thing.address).cast(thing.type.pointer()).dereference()
            value.fetch_lazy()  # So that failing to read it fails here.
            return value
        return gdb.Value(thing)

    class Printer:
        reader = None

        def __init__(self, value):
            self.text, self.entries = shown(type(self).reader, Value(value))

        def display_hint(self):
            if isinstance(self.text, (Text, Quoted)):
                return "string"
            return "array" if type(self).reader is vector else None

        def to_string(self):
            return as_value(self.text) if isinstance(self.text, Text) else self.text

        def children(self):
            for name, thing in self.entries:
                try:
                    yield name, as_value(thing)
                except ERRORS as error:
                    yield name, str(error)

    class Dereference(gdb.xmethod.XMethodWorker):
        def get_arg_types(self):
            return None

        def get_result_type(self, handle):
            return self(handle).type

        def __call__(self, handle):
            if handle.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
                handle = handle.dereference()
            return handle["object"].dereference()

    class Address(Dereference):
        def __call__(self, handle):
            return super().__call__(handle).address

    class HandleMethods(gdb.xmethod.XMethodMatcher):
        """Lets `*handle` and `handle->member` work without code of the program."""

        workers = {"operator*": Dereference, "operator->": Address, "get": Address}

        def __init__(self):
            super().__init__("Vorn::Ptr")
            self.methods = [gdb.xmethod.XMethod(name) for name in self.workers]

        def match(self, class_type, name):
            if name in self.workers and re.match("Vorn::Ptr<", class_type.tag or ""):
                return self.workers[name]()
            return None

    collection = gdb.printing.RegexpCollectionPrettyPrinter("vorn")
    for pattern, function in READERS.items():
        name = function.__name__.title().replace("_", "")
        printer = type(name, (Printer,), {"reader": function})
        collection.add_printer(name, f"^{pattern}$", printer)
    gdb.printing.register_pretty_printer(gdb.current_objfile(), collection, replace=True)
    gdb.xmethod.register_xmethod_matcher(gdb.current_objfile(), HandleMethods(), replace=True)

else:

    def read(address, size):
        error = lldb.SBError()
        found = Value.process.ReadMemory(address, size, error) if size else b""
        expect(error.Success(), f"Cannot access memory at address {address:#x}")
        return found

    def size_of(kind):
        return kind.GetByteSize()

    class Value:
        process = None  # That of the value that was asked for last.

        def __init__(self, value):
            self.value, self.type = value.GetNonSyntheticValue(), value.GetType()
            self.address = self.value.GetLoadAddress()
            if self.type.IsReferenceType():
                self.type = self.type.GetDereferencedType()
                self.address = self.value.GetValueAsUnsigned()
            Value.process = value.GetProcess()

        def words(self, layout):
            if self.address != lldb.LLDB_INVALID_ADDRESS:
                return words(self.address, layout)
            data, error = self.value.GetData(), lldb.SBError()
            return struct.unpack_from(layout, data.ReadRawData(error, 0, data.GetByteSize()))

        def argument(self):
            return self.type.GetCanonicalType().GetTemplateArgumentType(0)

    def as_value(parent, name, thing):
        target = parent.GetTarget()

        def of(kind, layout, thing):
            data = list(struct.unpack(f"{(size_of(kind) + 7) // 8}Q", struct.pack(layout + "0Q", thing)))
            return target.CreateValueFromData(
                name, lldb.SBData.CreateDataFromUInt64Array(lldb.eByteOrderLittle, 8, data), kind)

        if isinstance(thing, Text):
            thing = plain(thing)
        if isinstance(thing, Object):
            return target.CreateValueFromAddress(
                name, lldb.SBAddress(thing.address, target), thing.type)
        if isinstance(thing, Pointer):
            kind = thing.type or target.GetBasicType(lldb.eBasicTypeVoid)
            return of(kind.GetPointerType(), "Q", thing.address)
        if isinstance(thing, int):
            return of(target.GetBasicType(lldb.eBasicTypeLongLong), "q", thing)
        if isinstance(thing, float):
            return of(target.GetBasicType(lldb.eBasicTypeDouble), "d", thing)
        encoded = thing.encode() + b"\0"
        kind = target.GetBasicType(lldb.eBasicTypeChar).GetArrayType(len(encoded))
        return of(kind, f"{len(encoded)}s", encoded)

    def quoted(text):
        escapes = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t"}
        return '"' + "".join(escapes.get(c) or (c if c.isprintable() else f"\\x{ord(c):02x}")
                             for c in text) + '"'

    MOST_CHILDREN, MOST_CHARACTERS = 100000, 1024

    def summary(reader, value):
        text, _ = shown(reader, Value(value))
        if isinstance(text, Quoted):
            return quoted(text)
        if not isinstance(text, Text):
            return text
        kept = text._replace(size=min(text.size, MOST_CHARACTERS))
        try:
            return "L" * (text.width > 1) + quoted(plain(kept)) + "..." * (kept != text)
        except ERRORS as error:
            return f"<error: {error}>"

    def summary_of(reader):
        # lldb counts the parameters.
        return lambda value, _: summary(reader, value)

    class Children:
        reader = None

        def __init__(self, value, _):
            self.value, self.entries = value, []

        def update(self):
            _, entries = shown(type(self).reader, Value(self.value))
            self.entries = list(itertools.islice(entries, MOST_CHILDREN))

        def num_children(self):
            return len(self.entries)

        def has_children(self):
            return bool(self.entries)

        def get_child_index(self, name):
            if name == "$$dereference$$":  # What `*handle` and `handle->member` ask for.
                return len(self.entries)
            return next((i for i, (known, _) in enumerate(self.entries) if known == name), -1)

        def get_child_at_index(self, index):
            if index < len(self.entries):
                return as_value(self.value, *self.entries[index])
            if type(self).reader is ptr and self.entries:
                return as_value(self.value, *self.entries[0]).Dereference()
            return None

    def __lldb_init_module(debugger, _):
        for pattern, reader in READERS.items():
            name = reader.__name__
            globals()["show_" + name] = summary_of(reader)
            globals()["Children_" + name] = type(name, (Children,), {"reader": reader})
            debugger.HandleCommand(
                f"type summary add -w vorn -e -x '^{pattern}$' -F {__name__}.show_{name}")
            debugger.HandleCommand(
                f"type synthetic add -w vorn -x '^{pattern}$' -l {__name__}.Children_{name}")
        debugger.HandleCommand("type category enable vorn")
