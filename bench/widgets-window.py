#!/usr/bin/python3
"""A GTK 3 window full of ordinary widgets, for bench/screenshot-bench.

    widgets-window.py TITLE WIDTH HEIGHT

It gives the captured frame what a real desktop has beside terminals: anti-aliased
proportional text, gradients, rounded borders, selections and focus rings. Everything is
static once drawn, because every tool in a run must capture the very same frame: no blinking
caret, no animation, no overlay scrollbars that fade in and out.
"""

import os
import sys

# GTK would otherwise look for the accessibility bus on the private session bus and log
# warnings while it waits.
os.environ.setdefault("NO_AT_BRIDGE", "1")

import gi  # noqa: E402

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


def freeze_animations():
    settings = Gtk.Settings.get_default()
    settings.set_property("gtk-cursor-blink", False)
    settings.set_property("gtk-enable-animations", False)


def labelled(text, widget):
    row = Gtk.Box(orientation=Gtk.Orientation.HORIZONTAL, spacing=8)
    label = Gtk.Label(label=text, xalign=0)
    label.set_size_request(110, -1)
    row.pack_start(label, False, False, 0)
    row.pack_start(widget, True, True, 0)
    return row


def scrolled(child, height):
    window = Gtk.ScrolledWindow()
    # Overlay scrollbars appear on motion and fade out: a frame that changes on its own.
    window.set_overlay_scrolling(False)
    window.set_policy(Gtk.PolicyType.AUTOMATIC, Gtk.PolicyType.AUTOMATIC)
    window.set_min_content_height(height)
    window.set_shadow_type(Gtk.ShadowType.IN)
    window.add(child)
    return window


def form_column():
    column = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=10)

    heading = Gtk.Label(xalign=0)
    heading.set_markup("<span size='x-large' weight='bold'>Capture settings</span>")
    column.pack_start(heading, False, False, 0)

    name = Gtk.Entry(text="Screenshot %Y-%m-%d at %H.%M.%S")
    column.pack_start(labelled("File name", name), False, False, 0)
    folder = Gtk.Entry(text="/home/user/Pictures/Screenshots")
    column.pack_start(labelled("Save to", folder), False, False, 0)
    token = Gtk.Entry(text="catbox-user-hash", visibility=False)
    column.pack_start(labelled("User hash", token), False, False, 0)
    search = Gtk.SearchEntry(text="window title")
    column.pack_start(labelled("Find", search), False, False, 0)

    combo = Gtk.ComboBoxText()
    for item in ("PNG", "JPEG", "WebP"):
        combo.append_text(item)
    combo.set_active(0)
    column.pack_start(labelled("Format", combo), False, False, 0)

    spin = Gtk.SpinButton.new_with_range(0, 10, 1)
    spin.set_value(3)
    column.pack_start(labelled("Delay (s)", spin), False, False, 0)

    scale = Gtk.Scale.new_with_range(Gtk.Orientation.HORIZONTAL, 0, 100, 1)
    scale.set_value(90)
    scale.set_value_pos(Gtk.PositionType.RIGHT)
    for mark in (0, 50, 100):
        scale.add_mark(mark, Gtk.PositionType.BOTTOM, str(mark))
    column.pack_start(labelled("JPEG quality", scale), False, False, 0)

    for text, active in (("Copy to the clipboard", True), ("Save to the folder", True),
                         ("Upload to Catbox", False), ("Show a notification", True)):
        column.pack_start(Gtk.CheckButton(label=text, active=active), False, False, 0)

    first = Gtk.RadioButton.new_with_label(None, "Whole screen")
    second = Gtk.RadioButton.new_with_label_from_widget(first, "Window under the pointer")
    third = Gtk.RadioButton.new_with_label_from_widget(first, "Selected area")
    second.set_active(True)
    radios = Gtk.Box(orientation=Gtk.Orientation.HORIZONTAL, spacing=12)
    for radio in (first, second, third):
        radios.pack_start(radio, False, False, 0)
    column.pack_start(radios, False, False, 0)

    progress = Gtk.ProgressBar(fraction=0.62, show_text=True, text="Uploading 62 %")
    column.pack_start(progress, False, False, 0)

    switch_row = Gtk.Box(orientation=Gtk.Orientation.HORIZONTAL, spacing=8)
    switch_row.pack_start(Gtk.Label(label="Record the microphone"), False, False, 0)
    switch_row.pack_end(Gtk.Switch(active=True), False, False, 0)
    column.pack_start(switch_row, False, False, 0)

    text = Gtk.TextView(wrap_mode=Gtk.WrapMode.WORD, left_margin=6, right_margin=6)
    text.get_buffer().set_text(
        "The quick brown fox jumps over the lazy dog. 0123456789\n"
        "Sphinx of black quartz, judge my vow! ÀÉÎÕÜ àéîõü ß æøå\n"
        "Pack my box with five dozen liquor jugs; (){}[]<>=+-*/%&|~^")
    column.pack_start(scrolled(text, 90), True, True, 0)

    buttons = Gtk.ButtonBox(orientation=Gtk.Orientation.HORIZONTAL, spacing=8)
    buttons.set_layout(Gtk.ButtonBoxStyle.END)
    for label in ("Reset", "Cancel", "Apply"):
        buttons.add(Gtk.Button(label=label))
    default = Gtk.Button(label="Save")
    default.get_style_context().add_class("suggested-action")
    buttons.add(default)
    toggle = Gtk.ToggleButton(label="Pinned", active=True)
    buttons.add(toggle)
    column.pack_start(buttons, False, False, 0)
    return column


def list_column():
    column = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=10)

    listbox = Gtk.ListBox()
    for index, text in enumerate(("Screenshot 2024-05-01 at 10.02.11.png",
                                  "Screenshot 2024-05-01 at 10.05.43.png",
                                  "Recording 2024-05-01 at 11.20.00.mp4",
                                  "Screenshot 2024-05-02 at 09.14.27.jpg",
                                  "Screenshot 2024-05-02 at 16.48.03.png",
                                  "Recording 2024-05-03 at 08.30.59.mp4")):
        row = Gtk.Box(orientation=Gtk.Orientation.HORIZONTAL, spacing=8, margin=4)
        row.pack_start(Gtk.Label(label=text, xalign=0), True, True, 0)
        row.pack_end(Gtk.Label(label=f"{(index + 3) * 417} KB"), False, False, 0)
        listbox.add(row)
    listbox.select_row(listbox.get_row_at_index(1))
    column.pack_start(scrolled(listbox, 200), False, False, 0)

    store = Gtk.TreeStore(str, str, str, str)
    folders = {
        "Pictures": [("Screenshots", "Folder", "—"), ("wallpaper-4k.png", "PNG image", "8.1 MB"),
                     ("diagram.svg", "SVG image", "42 KB")],
        "Videos": [("demo-recording.mp4", "MPEG-4 video", "31.4 MB"),
                   ("bug-1402.mp4", "MPEG-4 video", "5.2 MB")],
        "Documents": [("release-notes.txt", "Plain text", "3 KB"), ("budget.ods", "Spreadsheet", "17 KB"),
                      ("letter.odt", "Text document", "24 KB"), ("photos.tar.gz", "Archive", "112 MB")],
    }
    for folder, entries in folders.items():
        parent = store.append(None, [folder, "Folder", "—", "2024-05-03 08:30"])
        for number, (name, kind, size) in enumerate(entries):
            store.append(parent, [name, kind, size, f"2024-04-{10 + number:02d} 1{number}:2{number}"])
    tree = Gtk.TreeView(model=store)
    for index, title in enumerate(("Name", "Type", "Size", "Modified")):
        column_view = Gtk.TreeViewColumn(title, Gtk.CellRendererText(), text=index)
        column_view.set_resizable(True)
        tree.append_column(column_view)
    tree.expand_all()
    tree.get_selection().select_path(Gtk.TreePath.new_from_string("1:0"))
    column.pack_start(scrolled(tree, 360), True, True, 0)
    return column


def main():
    title = sys.argv[1] if len(sys.argv) > 1 else "Widgets"
    width = int(sys.argv[2]) if len(sys.argv) > 2 else 1200
    height = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
    freeze_animations()

    window = Gtk.Window(title=title)
    window.set_default_size(width, height)
    window.connect("destroy", Gtk.main_quit)

    notebook = Gtk.Notebook()
    page = Gtk.Box(orientation=Gtk.Orientation.HORIZONTAL, spacing=16, margin=16)
    page.pack_start(form_column(), True, True, 0)
    page.pack_start(list_column(), True, True, 0)
    notebook.append_page(page, Gtk.Label(label="General"))
    for name in ("Shortcuts", "Uploads", "Advanced"):
        notebook.append_page(Gtk.Label(label=name), Gtk.Label(label=name))
    window.add(notebook)
    window.show_all()
    Gtk.main()


if __name__ == "__main__":
    main()
