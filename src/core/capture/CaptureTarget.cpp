#include "CaptureTarget.h"

namespace {

bool same(const CaptureTarget::Display &a, const CaptureTarget::Display &b)
{
    return a.displayId == b.displayId;
}

bool same(const CaptureTarget::Area &a, const CaptureTarget::Area &b)
{
    return a.displayId == b.displayId && a.rectInPoints.x() == b.rectInPoints.x()
        && a.rectInPoints.y() == b.rectInPoints.y() && a.rectInPoints.width() == b.rectInPoints.width()
        && a.rectInPoints.height() == b.rectInPoints.height();
}

bool same(const CaptureTarget::Window &a, const CaptureTarget::Window &b)
{
    return a.windowId == b.windowId;
}

} // namespace

bool operator==(const CaptureTarget &a, const CaptureTarget &b)
{
    if (a.m_value.index() != b.m_value.index())
        return false;
    return std::visit(
        [&b](const auto &left) {
            using Case = std::decay_t<decltype(left)>;
            return same(left, std::get<Case>(b.m_value));
        },
        a.m_value);
}
