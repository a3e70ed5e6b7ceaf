#pragma once

#include <QRectF>
#include <QtGlobal>

#include <variant>

// One rectangle the user could mean at the pointer: an element inside a window, the window,
// or the whole display.
struct SnapLevel
{
    struct Element
    {
        friend bool operator==(const Element &, const Element &) = default;
    };
    struct Window
    {
        quint32 id = 0;
        friend bool operator==(const Window &, const Window &) = default;
    };
    struct Display
    {
        friend bool operator==(const Display &, const Display &) = default;
    };
    using Kind = std::variant<Window, Element, Display>;

    Kind kind;
    QRectF frame; // points

    bool isElement() const { return std::holds_alternative<Element>(kind); }

    // Exact: QRectF's own == is fuzzy.
    friend bool operator==(const SnapLevel &a, const SnapLevel &b)
    {
        return a.kind == b.kind && a.frame.x() == b.frame.x() && a.frame.y() == b.frame.y()
            && a.frame.width() == b.frame.width() && a.frame.height() == b.frame.height();
    }
};
