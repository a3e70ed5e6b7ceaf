#pragma once

#include "UploadKind.h"

class Preferences;

// What happens to a finished capture of one kind, read afresh from the preferences at the
// moment of delivery.
struct OutputActions
{
    bool copy = false;
    bool save = false;
    bool upload = false;

    static OutputActions forKind(const Preferences &preferences, UploadKind kind);
    bool any() const { return copy || save || upload; }
};
