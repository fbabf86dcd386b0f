#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

/// SHA-256 as FIPS 180-4 defines it. Our own because the transport's TLS library differs from
/// platform to platform, and with it the hash functions at hand.
class Sha256
{
public:
    void add(const char* data, std::size_t size);
    /// The digest of everything added, as 64 lower-case hexadecimal digits. Ends the computation.
    std::string finishHex();

private:
    void processBlock(const unsigned char* block);

    std::array<std::uint32_t, 8> m_state{ 0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19 };
    std::array<unsigned char, 64> m_block{};
    std::size_t m_blockSize = 0;
    std::uint64_t m_totalSize = 0;
};
