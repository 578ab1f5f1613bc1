"""Shows the library's text class as its text in gdb:  (gdb) source tools/debug/norviklib_gdb.py"""

import gdb
import gdb.printing


class TextPrinter:
    """The length stands right in front of the characters; a null text is empty."""

    def __init__(self, value):
        self.text = value["mText"]

    def to_string(self):
        if int(self.text) == 0:
            return ""
        length = int(self.text.cast(gdb.lookup_type("int").pointer())[-1])
        return self.text.string("latin-1", length=length)

    def display_hint(self):
        return "string"


def build_printers():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("norviklib")
    printers.add_printer("Cmn_String", "^Cmn_BasicString<char>$", TextPrinter)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build_printers(), replace=True)
