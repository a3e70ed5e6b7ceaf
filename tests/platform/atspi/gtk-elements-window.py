#!/usr/bin/python3
# A GTK 3 window with known elements for the accessibility tests: a toolbar holding one button
# above a list of rows, its client area at X Y (arguments). Once the window is mapped it prints
#   READY <pid> {"window": [x, y, w, h], "toolbar": [...], "button": [...], "row": [...]}
# with root-window pixel frames of the client area and the widgets, then runs until killed.
import json
import os
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

x, y = (int(v) for v in sys.argv[1:3]) if len(sys.argv) >= 3 else (200, 150)

window = Gtk.Window(title="Qorvel elements")
window.set_default_size(400, 300)
window.move(x, y)

box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
toolbar = Gtk.Toolbar()
button = Gtk.ToolButton(label="Capture")
button.set_is_important(True)  # shows the label, so the button has a sensible size
toolbar.insert(button, 0)
box.pack_start(toolbar, False, False, 0)

rows = Gtk.ListBox()
for name in ("First row", "Second row", "Third row"):
    label = Gtk.Label(label=name)
    label.set_size_request(-1, 40)
    rows.add(label)
second_row = rows.get_row_at_index(1)
box.pack_start(rows, True, True, 0)

window.add(box)
window.connect("destroy", Gtk.main_quit)


def frame_of(widget):
    origin_x, origin_y = window.get_window().get_origin()[1:]
    x, y = widget.translate_coordinates(window, 0, 0)
    allocation = widget.get_allocation()
    return [origin_x + x, origin_y + y, allocation.width, allocation.height]


def report():
    frames = {"window": frame_of(window), "toolbar": frame_of(toolbar), "button": frame_of(button),
              "row": frame_of(second_row)}
    print("READY", os.getpid(), json.dumps(frames), flush=True)
    return False


def announce(*_):
    # The window manager places the frame after mapping; let it settle before reporting where.
    GLib.timeout_add(300, report)
    return False


window.connect("map-event", announce)
window.show_all()
Gtk.main()
