#include "pdlencryption.h"

#include "rtk/encryption.h"

namespace
{
uint32_t readWord(unsigned char const* pBytes)
{
    return static_cast<uint32_t>(pBytes[0]) | (static_cast<uint32_t>(pBytes[1]) << 8) |
           (static_cast<uint32_t>(pBytes[2]) << 16) | (static_cast<uint32_t>(pBytes[3]) << 24);
}

void writeWord(unsigned char* pBytes, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
    {
        pBytes[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}
} // namespace

PDLEncryptionHeader PDLEncryptionHeader::forKey(std::string const& key)
{
    PDLEncryptionHeader header;
    header.m_magic = s_magic;
    header.m_version = s_version;
    header.m_type = s_typeIsaac;
    header.m_keyHash = rtk::EncryptionKey::getKeyHash(key);
    return header;
}

bool PDLEncryptionHeader::read(FILE* pFile)
{
    unsigned char bytes[s_size];
    if (std::fread(bytes, 1, s_size, pFile) != s_size)
    {
        return false;
    }
    read(bytes);
    return true;
}

void PDLEncryptionHeader::read(unsigned char const pBytes[s_size])
{
    m_magic = readWord(pBytes);
    m_version = readWord(pBytes + 4);
    m_type = readWord(pBytes + 8);
    m_reserved = readWord(pBytes + 12);
    m_keyHash = readWord(pBytes + 16);
}

void PDLEncryptionHeader::write(unsigned char pBytes[s_size]) const
{
    writeWord(pBytes, m_magic);
    writeWord(pBytes + 4, m_version);
    writeWord(pBytes + 8, m_type);
    writeWord(pBytes + 12, m_reserved);
    writeWord(pBytes + 16, m_keyHash);
}

std::string const& getPDLSourceKey()
{
    static std::string const s_key("MyHiddenKey0x7F");
    return s_key;
}
