// pdlcrypt: enciphers a PDL source into the form the panel reads (a 20-byte header, then the text
// enciphered with ISAAC under the panel's key) and deciphers such a file again.
//
//   pdlcrypt encrypt [-k KEY] INPUT OUTPUT
//   pdlcrypt decrypt [-k KEY] INPUT OUTPUT
//
// The key defaults to the one the panel reads with; -k gives another (the panel refuses such files).
// Exit status: 0 done, 1 refused or failed (the reason on standard error), 2 bad usage.

#include "pdlencryption.h"

#include "rtk/encryption.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace
{
int usage()
{
    std::cerr << "usage: pdlcrypt encrypt|decrypt [-k KEY] INPUT OUTPUT" << std::endl;
    return 2;
}

int fail(std::string const& file, std::string const& reason)
{
    std::cerr << "pdlcrypt: " << file << ": " << reason << std::endl;
    return 1;
}

bool readFile(std::string const& name, std::vector<unsigned char>& bytes, std::string& reason)
{
    std::ifstream in(name, std::ios::binary);
    if (!in)
    {
        reason = std::strerror(errno);
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad())
    {
        reason = "cannot be read";
        return false;
    }
    return true;
}

bool writeFile(std::string const& name, std::vector<unsigned char> const& bytes)
{
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return static_cast<bool>(out);
}

PDLEncryptionHeader headerOf(std::vector<unsigned char> const& bytes)
{
    // Shorter than a header: the zero magic marks it plain, as the panel reads it.
    PDLEncryptionHeader header;
    if (bytes.size() >= PDLEncryptionHeader::s_size)
    {
        header.read(bytes.data());
    }
    return header;
}

// Control bytes other than tab, line feed, form feed and carriage return never stand in PDL text: after
// deciphering they mean a damaged file.
size_t findControlByte(std::vector<unsigned char> const& text)
{
    for (size_t i = 0; i < text.size(); ++i)
    {
        unsigned char const byte = text[i];
        if ((byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\f' && byte != '\r') || byte == 0x7f)
        {
            return i;
        }
    }
    return text.size();
}

int encrypt(std::string const& key, std::string const& input, std::string const& output)
{
    std::vector<unsigned char> text;
    std::string reason;
    if (!readFile(input, text, reason))
    {
        return fail(input, reason);
    }
    if (headerOf(text).m_magic == PDLEncryptionHeader::s_magic)
    {
        return fail(input, "is enciphered already");
    }
    std::vector<unsigned char> result(PDLEncryptionHeader::s_size + text.size());
    PDLEncryptionHeader::forKey(key).write(result.data());
    rtk::IsaacEncryption cipher;
    cipher.setKey(key);
    cipher.encipher(text.data(), result.data() + PDLEncryptionHeader::s_size, text.size());
    if (!writeFile(output, result))
    {
        return fail(output, "cannot be written");
    }
    return 0;
}

int decrypt(std::string const& key, std::string const& input, std::string const& output)
{
    std::vector<unsigned char> bytes;
    std::string reason;
    if (!readFile(input, bytes, reason))
    {
        return fail(input, reason);
    }
    PDLEncryptionHeader const header = headerOf(bytes);
    if (header.m_magic != PDLEncryptionHeader::s_magic)
    {
        return fail(input, bytes.size() < PDLEncryptionHeader::s_size ? "too short for an enciphered PDL file"
                                                                        : "not an enciphered PDL file (no header)");
    }
    if (header.m_version != PDLEncryptionHeader::s_version)
    {
        return fail(input, "damaged or unknown format: version " + std::to_string(header.m_version) + ", expected " +
                               std::to_string(PDLEncryptionHeader::s_version));
    }
    if (header.m_type != PDLEncryptionHeader::s_typeIsaac)
    {
        return fail(input, "damaged or unknown format: cipher type " + std::to_string(header.m_type) +
                               ", expected " + std::to_string(PDLEncryptionHeader::s_typeIsaac));
    }
    if (header.m_keyHash != rtk::EncryptionKey::getKeyHash(key))
    {
        return fail(input, "enciphered under another key");
    }
    std::vector<unsigned char> text(bytes.begin() + PDLEncryptionHeader::s_size, bytes.end());
    rtk::IsaacEncryption cipher;
    cipher.setKey(key);
    cipher.decipher(text.data(), text.data(), text.size());
    size_t const bad = findControlByte(text);
    if (bad != text.size())
    {
        return fail(input, "damaged: the deciphered text holds a control byte at offset " +
                               std::to_string(bad + PDLEncryptionHeader::s_size));
    }
    if (!writeFile(output, text))
    {
        return fail(output, "cannot be written");
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty())
    {
        return usage();
    }
    std::string const mode = args[0];
    args.erase(args.begin());
    std::string key = getPDLSourceKey();
    if (args.size() >= 2 && args[0] == "-k")
    {
        key = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.size() != 2)
    {
        return usage();
    }
    if (mode == "encrypt")
    {
        return encrypt(key, args[0], args[1]);
    }
    if (mode == "decrypt")
    {
        return decrypt(key, args[0], args[1]);
    }
    return usage();
}
