#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

// Failures the service plays on purpose so that tests can exercise every failure path of the
// client over real HTTP. A fault is set per method name ("*" for every method) and may be limited
// to a number of calls.
struct Fault
{
    enum class Kind
    {
        None,
        Delay,     // answer normally, but only after `delayMs`
        Error,     // status "error" with an "error" element (code, message)
        BareError, // status "error" without an "error" element
        Http500,   // HTTP 500 Internal Server Error
        Reset,     // drop the connection at once, no reply
        Close,     // close the connection gracefully, no reply
        Raw,       // send `body` verbatim as the reply (zero bytes, broken XML...)
    };

    Kind kind = Kind::None;
    int delayMs = 0;
    int remaining = 0; // 0 = every call until cleared
    // Carry the call out first and only then play the fault: the answer is lost after the service
    // has done what was asked.
    bool afterHandling = false;
    QString code;
    QString message;
    QByteArray body;

    static bool parseKind(const QString& word, Kind* kind);
};

class FaultTable
{
public:
    // A fault of kind None removes the method's fault.
    void set(const QString& method, const Fault& fault);
    void clear() { faults.clear(); }
    // The fault to play for this call, counting it down; Kind::None when there is none.
    Fault take(const QString& method);
    // Parses the command-line form "METHOD:KIND[:MS]".
    static bool parseSpec(const QString& spec, QString* method, Fault* fault, QString* error);

private:
    QHash<QString, Fault> faults;
};
