#include "recorders/WavFileHeader.h"

#include <QAudioFormat>
#include <QDataStream>
#include <QIODevice>

#include <cstring>

namespace {

constexpr int TagSize = 4;
constexpr qint64 RiffSizeOffset = 4;
constexpr qint64 DataLengthOffset = 40;
constexpr quint32 PcmFmtChunkSize = 16;
constexpr quint16 PcmFormatTag = 1;

void writeTag(QDataStream& stream, const char* tag)
{
    stream.writeRawData(tag, TagSize);
}

} // namespace

WavFileHeader::WavFileHeader(const QAudioFormat& format)
    : m_fmtChunkSize(PcmFmtChunkSize)
    , m_audioFormat(PcmFormatTag)
    , m_channelCount(static_cast<quint16>(format.channelCount()))
    , m_sampleRate(static_cast<quint32>(format.sampleRate()))
{
    const auto bytesPerSample = static_cast<quint32>(format.bytesPerSample());
    m_byteRate = m_channelCount * m_sampleRate * bytesPerSample;
    m_blockAlign = static_cast<quint16>(m_channelCount * bytesPerSample);
    m_bitsPerSample = static_cast<quint16>(bytesPerSample * 8);
}

bool WavFileHeader::writeHeader(QIODevice* device) const
{
    QDataStream stream(device);
    stream.setByteOrder(QDataStream::LittleEndian);
    writeTag(stream, m_byteOrder ? "RIFF" : "RIFX");
    stream << quint32(0);
    writeTag(stream, "WAVE");
    writeTag(stream, "fmt ");
    stream << m_fmtChunkSize << m_audioFormat << m_channelCount << m_sampleRate << m_byteRate
           << m_blockAlign << m_bitsPerSample;
    writeTag(stream, "data");
    stream << quint32(0);
    return stream.status() == QDataStream::Ok;
}

bool WavFileHeader::writeLengths(QIODevice* device) const
{
    // A device whose size is below the header's is one that lost its bytes (a full disk): patching
    // it would write nonsense such as a length of 4 GiB.
    const qint64 size = device->size();
    if (size < Size)
        return false;
    QDataStream stream(device);
    stream.setByteOrder(QDataStream::LittleEndian);
    bool ok = device->seek(RiffSizeOffset);
    stream << static_cast<quint32>(size - 8);
    ok = device->seek(DataLengthOffset) && ok;
    stream << static_cast<quint32>(size - Size);
    return device->seek(size) && ok && stream.status() == QDataStream::Ok;
}

void WavFileHeader::read(QIODevice* device)
{
    QDataStream stream(device);
    stream.setByteOrder(QDataStream::LittleEndian);
    char magic[TagSize] = {};
    stream.readRawData(magic, TagSize);
    m_byteOrder = std::memcmp(magic, "RIFF", TagSize) == 0 ? 1 : 0;
    stream.skipRawData(3 * TagSize); // RIFF size, "WAVE", "fmt "
    // A number that the device no longer holds in full becomes 0.
    stream >> m_fmtChunkSize >> m_audioFormat >> m_channelCount >> m_sampleRate >> m_byteRate
        >> m_blockAlign >> m_bitsPerSample;
    stream.skipRawData(TagSize); // "data"
    stream >> m_length;
}

qint64 WavFileHeader::seconds() const
{
    return m_byteRate == 0 ? 0 : m_length / m_byteRate;
}

qint64 WavFileHeader::millis() const
{
    return m_byteRate == 0 ? 0
                           : static_cast<qint64>(static_cast<double>(m_length) / m_byteRate * 1000);
}
