#pragma once

#include <QMap>
#include <QString>
#include <QVariant>

// The process-wide map of settings and run-time values (sign-in state, effective service address,
// cached catalogue). Read and written on the GUI thread only; the mutex guards creation alone.
class Registry
{
public:
    static Registry* instance();
    // Releases the instance; the next instance() starts empty. Used by tests and at process end.
    static void drop();

    QVariant& operator[](const QString& key) { return values[key]; }
    QVariant value(const QString& key) const { return values.value(key); }
    bool contains(const QString& key) const { return values.contains(key); }

private:
    Registry() = default;

    static Registry* m_Instance;
    QMap<QString, QVariant> values;
};
