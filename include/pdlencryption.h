#ifndef PDLENCRYPTION_H
#define PDLENCRYPTION_H

// The stored form of an enciphered PDL source: a 20-byte header, then the text enciphered with the
// ISAAC stream cipher of librtk under the fixed key. Shared by the module loader, which reads such
// files, and the tools that write them.
//
// Header, five unsigned 32-bit words, little-endian: magic 0x085C305D, format version 2, cipher type 3
// (ISAAC), reserved (written as 0, never read), the key's hash (rtk::EncryptionKey::getKeyHash).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

struct PDLEncryptionHeader
{
    static uint32_t const s_magic = 0x085C305D;
    static uint32_t const s_version = 2;
    static uint32_t const s_typeIsaac = 3;
    static size_t const s_size = 20;

    // A header of the current format for the given key.
    static PDLEncryptionHeader forKey(std::string const& key);

    // Reads s_size bytes from the stream's position. False when fewer could be read; the fields then
    // keep their values (a short file keeps a magic of 0, which marks it plain).
    bool read(FILE* pFile);
    void read(unsigned char const pBytes[s_size]);
    void write(unsigned char pBytes[s_size]) const;

    uint32_t m_magic = 0;
    uint32_t m_version = 0;
    uint32_t m_type = 0;
    uint32_t m_reserved = 0;
    uint32_t m_keyHash = 0;
};

// The fixed key under which the core reads enciphered sources: 15 characters.
std::string const& getPDLSourceKey();

#endif
