#include "rtk/encryption.h"

#include <cstring>

namespace rtk
{
uint32_t EncryptionKey::getKeyHash(std::string const& key)
{
    uint32_t hash = 0x811C9DC5u;
    for (unsigned char byte : key)
    {
        hash ^= byte;
        hash *= 0x01000193u;
    }
    return hash;
}

// ------------------------------------------------------------------------------------------------

IsaacGenerator::IsaacGenerator()
{
    uint32_t zero[s_blockWords] = {};
    seed(zero);
}

#define RTK_ISAAC_MIX(a, b, c, d, e, f, g, h)                                                                \
    {                                                                                                        \
        a ^= b << 11;                                                                                        \
        d += a;                                                                                              \
        b += c;                                                                                              \
        b ^= c >> 2;                                                                                         \
        e += b;                                                                                              \
        c += d;                                                                                              \
        c ^= d << 8;                                                                                         \
        f += c;                                                                                              \
        d += e;                                                                                              \
        d ^= e >> 16;                                                                                        \
        g += d;                                                                                              \
        e += f;                                                                                              \
        e ^= f << 10;                                                                                        \
        h += e;                                                                                              \
        f += g;                                                                                              \
        f ^= g >> 4;                                                                                         \
        a += f;                                                                                              \
        g += h;                                                                                              \
        g ^= h << 8;                                                                                         \
        b += g;                                                                                              \
        h += a;                                                                                              \
        h ^= a >> 9;                                                                                         \
        c += h;                                                                                              \
        a += b;                                                                                              \
    }

void IsaacGenerator::seed(uint32_t const pSeed[s_blockWords])
{
    std::memcpy(m_result, pSeed, sizeof(m_result));
    m_a = m_b = m_c = 0;
    uint32_t a, b, c, d, e, f, g, h;
    a = b = c = d = e = f = g = h = 0x9e3779b9u; // the golden ratio
    for (int i = 0; i < 4; ++i)
        RTK_ISAAC_MIX(a, b, c, d, e, f, g, h);

    // First pass: the seed words into the memory.
    for (size_t i = 0; i < s_blockWords; i += 8)
    {
        a += m_result[i];
        b += m_result[i + 1];
        c += m_result[i + 2];
        d += m_result[i + 3];
        e += m_result[i + 4];
        f += m_result[i + 5];
        g += m_result[i + 6];
        h += m_result[i + 7];
        RTK_ISAAC_MIX(a, b, c, d, e, f, g, h);
        m_memory[i] = a;
        m_memory[i + 1] = b;
        m_memory[i + 2] = c;
        m_memory[i + 3] = d;
        m_memory[i + 4] = e;
        m_memory[i + 5] = f;
        m_memory[i + 6] = g;
        m_memory[i + 7] = h;
    }
    // Second pass: every seed word affects every memory word.
    for (size_t i = 0; i < s_blockWords; i += 8)
    {
        a += m_memory[i];
        b += m_memory[i + 1];
        c += m_memory[i + 2];
        d += m_memory[i + 3];
        e += m_memory[i + 4];
        f += m_memory[i + 5];
        g += m_memory[i + 6];
        h += m_memory[i + 7];
        RTK_ISAAC_MIX(a, b, c, d, e, f, g, h);
        m_memory[i] = a;
        m_memory[i + 1] = b;
        m_memory[i + 2] = c;
        m_memory[i + 3] = d;
        m_memory[i + 4] = e;
        m_memory[i + 5] = f;
        m_memory[i + 6] = g;
        m_memory[i + 7] = h;
    }
    isaac(); // randinit fills in a first set of results
}

#undef RTK_ISAAC_MIX

void IsaacGenerator::isaac()
{
    m_c = m_c + 1;
    m_b = m_b + m_c;
    for (size_t i = 0; i < s_blockWords; ++i)
    {
        uint32_t const x = m_memory[i];
        switch (i % 4)
        {
        case 0:
            m_a = m_a ^ (m_a << 13);
            break;
        case 1:
            m_a = m_a ^ (m_a >> 6);
            break;
        case 2:
            m_a = m_a ^ (m_a << 2);
            break;
        default:
            m_a = m_a ^ (m_a >> 16);
            break;
        }
        m_a = m_memory[(i + 128) % s_blockWords] + m_a;
        uint32_t const y = m_memory[(x >> 2) % s_blockWords] + m_a + m_b;
        m_memory[i] = y;
        m_b = m_memory[(y >> 10) % s_blockWords] + x;
        m_result[i] = m_b;
    }
}

uint32_t const* IsaacGenerator::generate()
{
    isaac();
    return m_result;
}

// ------------------------------------------------------------------------------------------------

IsaacEncryption::IsaacEncryption() : m_stream(), m_used(sizeof(m_stream))
{
    setKey("");
}

void IsaacEncryption::setKey(std::string const& key)
{
    uint32_t seedWords[IsaacGenerator::s_blockWords] = {};
    if (!key.empty())
    {
        for (size_t i = 0; i < IsaacGenerator::s_blockWords * 4; ++i)
        {
            uint32_t const byte = static_cast<unsigned char>(key[i % key.size()]);
            seedWords[i / 4] |= byte << (8 * (i % 4));
        }
    }
    m_generator.seed(seedWords);
    m_used = sizeof(m_stream);
}

void IsaacEncryption::encipher(unsigned char const* pSrc, unsigned char* pDst, size_t count)
{
    for (size_t i = 0; i < count; ++i)
    {
        if (m_used == sizeof(m_stream))
        {
            uint32_t const* pWords = m_generator.generate();
            for (size_t w = 0; w < IsaacGenerator::s_blockWords; ++w)
            {
                m_stream[4 * w] = static_cast<unsigned char>(pWords[w]);
                m_stream[4 * w + 1] = static_cast<unsigned char>(pWords[w] >> 8);
                m_stream[4 * w + 2] = static_cast<unsigned char>(pWords[w] >> 16);
                m_stream[4 * w + 3] = static_cast<unsigned char>(pWords[w] >> 24);
            }
            m_used = 0;
        }
        pDst[i] = static_cast<unsigned char>(pSrc[i] ^ m_stream[m_used++]);
    }
}

void IsaacEncryption::decipher(unsigned char const* pSrc, unsigned char* pDst, size_t count)
{
    encipher(pSrc, pDst, count);
}
} // namespace rtk
