#pragma once

// What every fuzz target shares: the bytes as Qt sees them, and silence for the messages the
// parsers log on refusals (millions of runs would otherwise spend their time printing).
#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>

inline QByteArray fuzzBytes(const uint8_t* data, size_t size)
{
    static const bool quiet = [] {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        return true;
    }();
    (void)quiet;
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}
