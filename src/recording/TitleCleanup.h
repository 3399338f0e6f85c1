#pragma once

#include <QString>

namespace util {

// Reduces an image editor's document title ("photo.psd @ 66,7% (Layer 1, RGB/8) *") to the file name
// ("photo.psd"), so zooming or editing a document does not split its time into many titles. Applied to
// every title while "ExtensionsAdobeEnabled" is on: any title with " @ <number>" is shortened the same way.
QString cleanupPhotoshopTitle(const QString& title);

} // namespace util
