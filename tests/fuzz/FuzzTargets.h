#pragma once

#include <QByteArray>

#include <array>

/// One parser of input that others wrote. run() takes any bytes and ends the program with qFatal()
/// where the parser breaks a promise; crashes are the sanitizers' to find.
struct FuzzTarget
{
    const char* name; ///< also of its directory in tests/fuzz/corpus
    void (*run)(const QByteArray& input);
};

void fuzzPresentationXml(const QByteArray& input);
void fuzzTimestamps(const QByteArray& input);
void fuzzWavHeader(const QByteArray& input);
void fuzzRecovery(const QByteArray& input);
void fuzzServiceReply(const QByteArray& input);
void fuzzS3Reply(const QByteArray& input);
void fuzzSettings(const QByteArray& input);

inline constexpr std::array FuzzTargets{
    FuzzTarget{ "presentation_xml", fuzzPresentationXml },
    FuzzTarget{ "timestamps", fuzzTimestamps },
    FuzzTarget{ "wav_header", fuzzWavHeader },
    FuzzTarget{ "recovery", fuzzRecovery },
    FuzzTarget{ "service_reply", fuzzServiceReply },
    FuzzTarget{ "settings", fuzzSettings },
#ifdef PODIUMCAST_COMPAT_AWS
    FuzzTarget{ "s3_reply", fuzzS3Reply },
#endif
};
