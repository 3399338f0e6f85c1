#pragma once

#include <QFile>
#include <QString>

// The sample catalogue as the transport hands it over: the reply's bytes, one character each.
inline QString sampleCatalogueReply()
{
    QFile file(QStringLiteral(VERRIN_SERVICE_TEST_DATA "/catalogue.xml"));
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot read the sample catalogue");
    }
    return QString::fromLatin1(file.readAll());
}
