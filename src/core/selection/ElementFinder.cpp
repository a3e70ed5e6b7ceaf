#include "ElementFinder.h"

// The interface is header-only; this file gives its meta-object one home.
