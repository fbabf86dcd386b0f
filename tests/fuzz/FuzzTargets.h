#pragma once

#include <QByteArray>
#include <QList>

/// One parser of input that others wrote. run() takes any bytes and ends the program with qFatal()
/// where the parser breaks a promise; crashes are the sanitizers' to find.
struct FuzzTarget
{
    const char* name; ///< also of its directory in tests/fuzz/corpus
    void (*run)(const QByteArray& input);
};

extern const QList<FuzzTarget> FuzzTargets;
