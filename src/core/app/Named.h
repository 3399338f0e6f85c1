#pragma once

#include <QObject>

// Forms are built in code; tests and style sheets find their parts by object name.
template <typename T>
T* named(T* object, const char* name)
{
    object->setObjectName(QLatin1String(name));
    return object;
}
