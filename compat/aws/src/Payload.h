#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

/// A stretch of a stream as the body of a request: read as it is sent, from its start again when a
/// request is repeated, never held in memory. The stream must outlive it.
class Payload
{
public:
    Payload(std::istream& stream, std::uint64_t offset, std::uint64_t size)
        : m_stream(stream)
        , m_offset(offset)
        , m_size(size)
    {
    }

    std::uint64_t size() const { return m_size; }
    bool seek(std::uint64_t position);
    /// Fills @p buffer; fewer bytes than asked for only at the end, or when the file was cut short.
    std::size_t read(char* buffer, std::size_t size);
    /// SHA-256 of the whole stretch in hexadecimal digits; empty when it cannot be read whole.
    std::string sha256Hex();

private:
    std::istream& m_stream;
    const std::uint64_t m_offset;
    const std::uint64_t m_size;
    std::uint64_t m_position = 0;
};
