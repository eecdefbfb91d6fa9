"""Lets gdb show what the framework holds: keyed collections by their elements, counted pointers by
what they point to, and who observes a publisher.

    (gdb) source scripts/gdb/dot1x.py
"""
import gdb
import gdb.printing


class HashMapPrinter:
    """Qel::HashMap2018: groups of tags, then the slots of the elements (platform/Qel/HashGroup.h)."""

    def __init__(self, value):
        self.map = value
        self.element = value.type.strip_typedefs().template_argument(0)

    def to_string(self):
        return f"{int(self.map['size_'])} elements"

    def children(self):
        groups = self.map["groups_"]
        if not int(groups):
            return
        count = int(self.map["mask_"]) + 1
        slots = (groups + count).reinterpret_cast(self.element.pointer())
        for group in range(count):
            tags = groups[group]["tags"]
            low, high = tags.type.range()
            for slot in range(low, high + 1):
                if int(tags[slot]):
                    at = group * (high + 1) + slot
                    yield f"[{at}]", slots[at]

    def display_hint(self):
        return "array"


class PtrPrinter:
    """Varek::Ptr: the object's own type and its references."""

    def __init__(self, value):
        self.object = value["object_"]

    def to_string(self):
        if not int(self.object):
            return "null"
        whole = self.object.cast(self.object.dynamic_type)
        try:
            references = f"{int(whole.dereference()['references_']['_M_i'])} references"
        except gdb.error:
            references = "references unknown (a library without debug information)"
        return f"({whole.type}) {int(whole):#x}, {references}"

    def children(self):
        if int(self.object):
            yield "object", self.object.cast(self.object.dynamic_type).dereference()


class PublisherPrinter:
    """Varek::Publisher: the bits of its word, and the observer or the list in it."""

    bits = {1: "read-only proxy", 2: "watched from above", 8: "observers to be removed"}
    list_bit = 4
    pointer_mask = ~15

    def __init__(self, value):
        self.value = value
        # A library without debug information tells of no members.
        self.known = any(field.name == "word_" for field in value.type.fields())
        self.word = int(value["word_"]) if self.known else 0

    def to_string(self):
        pointer = self.word & self.pointer_mask
        if not self.known:
            told = "observers unknown (a library without debug information)"
        elif self.word == 0:
            told = "never observed"
        elif not pointer:
            told = "no observer"
        elif self.word & self.list_bit:
            kind = gdb.lookup_type("Varek::Internal::ObserverList").pointer()
            observers = gdb.Value(pointer).cast(kind)["observers"]
            vector = observers["_M_impl"]
            told = f"{int(vector['_M_finish'] - vector['_M_start'])} observers"
        else:
            told = "1 observer"
        return ", ".join([told] + [name for bit, name in self.bits.items() if self.word & bit])

    def children(self):
        if self.known:
            yield "parent", self.value["parent_"]


printers = gdb.printing.RegexpCollectionPrettyPrinter("dot1x")
printers.add_printer("HashMap2018", r"^Qel::HashMap2018<", HashMapPrinter)
printers.add_printer("Ptr", r"^Varek::Ptr<", PtrPrinter)
printers.add_printer("Publisher", r"^Varek::Publisher$", PublisherPrinter)
gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)
