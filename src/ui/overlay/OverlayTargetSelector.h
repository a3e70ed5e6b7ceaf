#pragma once

#include "SelectionOverlayController.h"
#include "TargetSelector.h"

#include <functional>
#include <memory>

class ElementFinder;
class ScreenCapturePlatform;

// The selection overlay as the screenshot service's way of choosing a target. Every display is
// grabbed just before the overlay maps, so the overlay never sees itself; the capture is then
// cut from those frozen screens, and only a window's own contents are read live.
class OverlayTargetSelector : public TargetSelector
{
public:
    // A finder for the accessibility elements under the pointer, or null while accessibility
    // is off (clicks then choose windows). Asked at each selection: the user may switch it on.
    using MakeElementFinder = std::function<std::unique_ptr<ElementFinder>()>;

    OverlayTargetSelector(ScreenCapturePlatform &live, MakeElementFinder makeElementFinder);
    ~OverlayTargetSelector() override;

    void select(bool showsMagnifier, Completion done) override;
    bool isSelecting() const override { return m_overlay.isOpen(); }
    void cancel() override { m_overlay.finish(std::nullopt); }

private:
    ScreenCapturePlatform &m_live;
    MakeElementFinder m_makeElementFinder;
    std::unique_ptr<ElementFinder> m_finder;
    SelectionOverlayController m_overlay;
};
