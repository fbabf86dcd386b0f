#include "Sha256.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::array<std::uint32_t, 64> RoundConstants{ 0x428a2f98, 0x71374491, 0xb5c0fbcf,
    0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5, 0xd807aa98, 0x12835b01, 0x243185be,
    0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174, 0xe49b69c1, 0xefbe4786, 0x0fc19dc6,
    0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da, 0x983e5152, 0xa831c66d, 0xb00327c8,
    0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967, 0x27b70a85, 0x2e1b2138, 0x4d2c6dfc,
    0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85, 0xa2bfe8a1, 0xa81a664b, 0xc24b8b70,
    0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070, 0x19a4c116, 0x1e376c08, 0x2748774c,
    0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3, 0x748f82ee, 0x78a5636f, 0x84c87814,
    0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2 };

constexpr std::uint32_t rotateRight(std::uint32_t value, int bits)
{
    return (value >> bits) | (value << (32 - bits));
}

} // namespace

void Sha256::add(const char* data, std::size_t size)
{
    m_totalSize += size;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    while (size > 0) {
        if (m_blockSize == 0 && size >= m_block.size()) {
            processBlock(bytes);
            bytes += m_block.size();
            size -= m_block.size();
            continue;
        }
        const std::size_t taken = std::min(size, m_block.size() - m_blockSize);
        std::memcpy(m_block.data() + m_blockSize, bytes, taken);
        m_blockSize += taken;
        bytes += taken;
        size -= taken;
        if (m_blockSize == m_block.size()) {
            processBlock(m_block.data());
            m_blockSize = 0;
        }
    }
}

std::string Sha256::finishHex()
{
    const std::uint64_t bits = m_totalSize * 8;
    // One set bit, zeros up to the last eight bytes of a block, then the length in bits.
    std::array<char, 72> padding{};
    padding[0] = static_cast<char>(0x80);
    const std::size_t zeros = (m_blockSize < 56 ? 56 : 120) - m_blockSize;
    for (std::size_t i = 0; i < 8; ++i)
        padding[zeros + i] = static_cast<char>(bits >> (56 - 8 * i));
    add(padding.data(), zeros + 8);

    std::string hex;
    for (const std::uint32_t word : m_state) {
        for (int shift = 28; shift >= 0; shift -= 4)
            hex += "0123456789abcdef"[(word >> shift) & 0xf];
    }
    return hex;
}

void Sha256::processBlock(const unsigned char* block)
{
    std::array<std::uint32_t, 64> w;
    for (std::size_t i = 0; i < 16; ++i) {
        w[i] = std::uint32_t(block[4 * i]) << 24 | std::uint32_t(block[4 * i + 1]) << 16
            | std::uint32_t(block[4 * i + 2]) << 8 | std::uint32_t(block[4 * i + 3]);
    }
    for (std::size_t i = 16; i < 64; ++i) {
        const std::uint32_t x = w[i - 15];
        const std::uint32_t y = w[i - 2];
        w[i] = w[i - 16] + (rotateRight(x, 7) ^ rotateRight(x, 18) ^ (x >> 3)) + w[i - 7]
            + (rotateRight(y, 17) ^ rotateRight(y, 19) ^ (y >> 10));
    }

    auto [a, b, c, d, e, f, g, h] = m_state;
    for (std::size_t i = 0; i < 64; ++i) {
        const std::uint32_t t1 = h + (rotateRight(e, 6) ^ rotateRight(e, 11) ^ rotateRight(e, 25))
            + ((e & f) ^ (~e & g)) + RoundConstants[i] + w[i];
        const std::uint32_t t2 = (rotateRight(a, 2) ^ rotateRight(a, 13) ^ rotateRight(a, 22))
            + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const std::array<std::uint32_t, 8> sums{ a, b, c, d, e, f, g, h };
    for (std::size_t i = 0; i < 8; ++i)
        m_state[i] += sums[i];
}
