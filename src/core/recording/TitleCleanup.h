#pragma once

#include <QString>

namespace util {

// The longest window title stored, in characters. Real titles are far shorter; a longer one (a
// runaway document name, a hostile window) is cut here so no view or query ever pays for it.
inline constexpr int kMaxTitleLength = 1024;

// `title` cut to kMaxTitleLength characters, never in the middle of a character.
QString cutTitle(const QString& title);

// Reduces an image editor's document title ("photo.psd @ 66,7% (Layer 1, RGB/8) *") to the file name
// ("photo.psd"), so zooming or editing a document does not split its time into many titles. Applied to
// every title while "ExtensionsAdobeEnabled" is on: any title with " @ <number>" is shortened the same way.
QString cleanupPhotoshopTitle(const QString& title);

} // namespace util
