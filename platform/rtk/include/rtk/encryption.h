#ifndef RTK_ENCRYPTION_H
#define RTK_ENCRYPTION_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace rtk
{
class EncryptionKey
{
public:
    // FNV-1a, 32 bits, over the bytes of the key: h = 0x811C9DC5; per byte h = (h ^ byte) * 0x01000193.
    static uint32_t getKeyHash(std::string const& key);
};

// The ISAAC generator, 32-bit version, exactly as its author published it. seed() is randinit with
// the flag set (the seed words are mixed in, and one block is generated and dropped, as randinit does);
// generate() is isaac() and returns the 256 result words. With an all-zero seed the first generate()
// gives 0xf650e4c8 as word 0, the author's reference output.
class IsaacGenerator
{
public:
    static const size_t s_blockWords = 256;

    IsaacGenerator();
    void seed(uint32_t const pSeed[s_blockWords]);
    uint32_t const* generate();

private:
    void isaac();

    uint32_t m_result[s_blockWords];
    uint32_t m_memory[s_blockWords];
    uint32_t m_a = 0;
    uint32_t m_b = 0;
    uint32_t m_c = 0;
};

// A stream cipher on ISAAC.
//   Key schedule: the key's bytes, repeated cyclically, fill 1024 bytes that are read as 256 seed words
//   little-endian (an empty key gives the zero seed); then IsaacGenerator::seed.
//   Key stream: the blocks of IsaacGenerator::generate, word 0 to 255 of each, every word as 4 bytes
//   little-endian.
//   Each byte is XORed with the next key stream byte; the position in the stream carries over from one
//   call to the next, so the cut of the data into calls does not matter. Encipher and decipher are the
//   same operation.
class IsaacEncryption
{
public:
    IsaacEncryption();

    void setKey(std::string const& key);
    // pSrc may equal pDst.
    void encipher(unsigned char const* pSrc, unsigned char* pDst, size_t count);
    void decipher(unsigned char const* pSrc, unsigned char* pDst, size_t count);

private:
    IsaacGenerator m_generator;
    unsigned char m_stream[IsaacGenerator::s_blockWords * 4];
    size_t m_used; // bytes of m_stream already consumed
};
} // namespace rtk

#endif
