#include "Payload.h"

#include "Sha256.h"

#include <algorithm>
#include <vector>

bool Payload::seek(std::uint64_t position)
{
    if (position > m_size)
        return false;
    m_position = position;
    m_stream.clear();
    m_stream.seekg(static_cast<std::streamoff>(m_offset + position));
    return m_stream.good();
}

std::size_t Payload::read(char* buffer, std::size_t size)
{
    const std::uint64_t wanted = std::min<std::uint64_t>(size, m_size - m_position);
    m_stream.read(buffer, static_cast<std::streamsize>(wanted));
    const auto count = static_cast<std::size_t>(m_stream.gcount());
    m_position += count;
    return count;
}

std::string Payload::sha256Hex()
{
    Sha256 hash;
    std::vector<char> buffer(64 * 1024);
    if (!seek(0))
        return {};
    while (const std::size_t count = read(buffer.data(), buffer.size()))
        hash.add(buffer.data(), count);
    return m_position == m_size ? hash.finishHex() : std::string();
}
