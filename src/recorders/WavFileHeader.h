#pragma once

#include <QtGlobal>

class QAudioFormat;
class QIODevice;

/// The canonical 44-byte RIFF/WAVE header of a PCM file: a plain value.
///
/// The numbers are little-endian in the file, always; the file is labelled PCM whatever the sample
/// format. The two lengths are 32 bits wide, so a file beyond 4 GiB holds their remainder.
class WavFileHeader
{
public:
    static constexpr qint64 Size = 44; ///< bytes

    WavFileHeader() = default;
    /// A header for @p format with lengths 0; rates and sizes are 0 for an unknown sample format.
    explicit WavFileHeader(const QAudioFormat& format);

    /// Writes the header at the current position; false when the device took less of it.
    bool writeHeader(QIODevice* device) const;
    /// Patches both lengths from the device's size and leaves the position at the end. False when
    /// the device holds no whole header (it is then left alone) or refuses the bytes.
    bool writeLengths(QIODevice* device) const;
    /// Fills the fields from the header at the current position, without judging them; what the
    /// device no longer holds is 0.
    void read(QIODevice* device);

    [[nodiscard]] qint32 byteOrder() const { return m_byteOrder; } ///< 1 "RIFF", 0 "RIFX"
    [[nodiscard]] quint16 channelCount() const { return m_channelCount; }
    [[nodiscard]] quint16 sampleSize() const { return m_bitsPerSample; } ///< bits
    [[nodiscard]] quint32 length() const { return m_length; } ///< bytes of sample data
    /// Duration of the samples, rounded down; 0 when the header gives no byte rate.
    [[nodiscard]] qint64 seconds() const;
    [[nodiscard]] qint64 millis() const;

private:
    qint32 m_byteOrder = 1;
    quint32 m_fmtChunkSize = 0;
    quint16 m_audioFormat = 0;
    quint16 m_channelCount = 0;
    quint32 m_sampleRate = 0;
    quint32 m_byteRate = 0;
    quint16 m_blockAlign = 0;
    quint16 m_bitsPerSample = 0;
    quint32 m_length = 0;
};
