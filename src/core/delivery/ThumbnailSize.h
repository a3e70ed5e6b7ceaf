#pragma once

#include <QSize>

// A notification's picture: the longer side at most 512 pixels, sides rounded to the nearest
// pixel, never enlarged and never below one pixel.
QSize thumbnailSize(QSize image);

inline constexpr int thumbnailLongestSide = 512;
