#pragma once

#include <Qt>

// Views show titles on one line and cut what does not fit; models put the title as it is under this
// role, so a view can offer the whole text where it had to cut or fold it.
inline constexpr int kWholeTextRole = Qt::UserRole + 64;
