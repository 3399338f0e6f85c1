#include "FaultTable.h"

#include <QStringList>

bool Fault::parseKind(const QString& word, Kind* kind)
{
    static const QHash<QString, Kind> kinds = {
        {QStringLiteral("none"), Kind::None},       {QStringLiteral("delay"), Kind::Delay},
        {QStringLiteral("error"), Kind::Error},     {QStringLiteral("error-bare"), Kind::BareError},
        {QStringLiteral("http500"), Kind::Http500}, {QStringLiteral("reset"), Kind::Reset},
        {QStringLiteral("close"), Kind::Close},     {QStringLiteral("raw"), Kind::Raw},
    };
    const auto it = kinds.constFind(word.toLower());
    if (it == kinds.constEnd())
        return false;
    *kind = *it;
    return true;
}

void FaultTable::set(const QString& method, const Fault& fault)
{
    if (fault.kind == Fault::Kind::None)
        faults.remove(method);
    else
        faults.insert(method, fault);
}

Fault FaultTable::take(const QString& method)
{
    auto it = faults.find(method);
    if (it == faults.end())
        it = faults.find(QStringLiteral("*"));
    if (it == faults.end())
        return Fault();
    const Fault fault = *it;
    if (it->remaining > 0 && --it->remaining == 0)
        faults.erase(it);
    return fault;
}

bool FaultTable::parseSpec(const QString& spec, QString* method, Fault* fault, QString* error)
{
    const QStringList parts = spec.split(QLatin1Char(':'));
    if (parts.size() < 2 || parts.size() > 3 || parts.at(0).isEmpty() || !Fault::parseKind(parts.at(1), &fault->kind)) {
        *error = QStringLiteral("bad fault \"%1\": expected METHOD:KIND[:MS] with KIND one of delay, error, "
                                "error-bare, http500, reset, close")
                     .arg(spec);
        return false;
    }
    *method = parts.at(0);
    if (parts.size() == 3) {
        bool ok = false;
        fault->delayMs = parts.at(2).toInt(&ok);
        if (!ok || fault->delayMs < 0) {
            *error = QStringLiteral("bad fault \"%1\": the delay must be a number of milliseconds").arg(spec);
            return false;
        }
    }
    return true;
}
