#include "rtk/encryption.h"

#include <gtest/gtest.h>

#include <vector>

TEST(RtkIsaac, ReferenceOutputForTheZeroSeed)
{
    rtk::IsaacGenerator generator;
    uint32_t const zero[rtk::IsaacGenerator::s_blockWords] = {};
    generator.seed(zero);
    uint32_t const* pFirst = generator.generate();
    EXPECT_EQ(pFirst[0], 0xf650e4c8u);
    EXPECT_EQ(pFirst[1], 0xe448e96du);
    uint32_t const* pSecond = generator.generate();
    EXPECT_EQ(pSecond[255], 0x4bb5af29u);

    // Seeding again starts the same sequence again.
    generator.seed(zero);
    EXPECT_EQ(generator.generate()[0], 0xf650e4c8u);
}

TEST(RtkEncryptionKey, HashIsFnv1a32)
{
    EXPECT_EQ(rtk::EncryptionKey::getKeyHash(""), 0x811c9dc5u);
    EXPECT_EQ(rtk::EncryptionKey::getKeyHash("a"), 0xe40c292cu);
    EXPECT_EQ(rtk::EncryptionKey::getKeyHash("foobar"), 0xbf9cf968u);
    EXPECT_NE(rtk::EncryptionKey::getKeyHash("MyHiddenKey0x7F"),
              rtk::EncryptionKey::getKeyHash("MyHiddenKey0x7E"));
}

TEST(RtkIsaacEncryption, KeyScheduleAndByteOrder)
{
    // The empty key is the zero seed; key stream words go out little-endian, word 0 first.
    rtk::IsaacEncryption cipher;
    cipher.setKey("");
    unsigned char bytes[8] = {};
    cipher.encipher(bytes, bytes, sizeof(bytes));
    unsigned char const expected[8] = {0xc8, 0xe4, 0x50, 0xf6, 0x6d, 0xe9, 0x48, 0xe4};
    for (size_t i = 0; i < sizeof(bytes); ++i)
        EXPECT_EQ(bytes[i], expected[i]) << "byte " << i;

    // The key's bytes fill the seed cyclically, little-endian.
    uint32_t seed[rtk::IsaacGenerator::s_blockWords];
    for (uint32_t& word : seed)
        word = 0x62616261u; // "abab"
    rtk::IsaacGenerator generator;
    generator.seed(seed);
    uint32_t const first = generator.generate()[0];
    cipher.setKey("ab");
    unsigned char data[4] = {};
    cipher.decipher(data, data, sizeof(data));
    EXPECT_EQ(data[0], first & 0xff);
    EXPECT_EQ(data[3], first >> 24);
}

TEST(RtkIsaacEncryption, RoundTripSplitAcrossCalls)
{
    std::vector<unsigned char> plain(5000);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = static_cast<unsigned char>(i * 7 + 3);

    rtk::IsaacEncryption encoder;
    encoder.setKey("MyHiddenKey0x7F");
    std::vector<unsigned char> enciphered(plain.size());
    encoder.encipher(plain.data(), enciphered.data(), plain.size());
    EXPECT_NE(enciphered, plain);

    // Deciphered in place, in pieces of mixed sizes crossing the 1024-byte block bounds.
    rtk::IsaacEncryption decoder;
    decoder.setKey("MyHiddenKey0x7F");
    std::vector<unsigned char> buffer(enciphered);
    size_t const pieces[] = {1, 7, 1016, 1, 1023, 1025, 0, 8192};
    size_t done = 0;
    for (size_t piece : pieces)
    {
        size_t const count = std::min(piece, buffer.size() - done);
        decoder.decipher(buffer.data() + done, buffer.data() + done, count);
        done += count;
    }
    ASSERT_EQ(done, buffer.size());
    EXPECT_EQ(buffer, plain);

    // A new key restarts the stream; a wrong key does not decipher.
    decoder.setKey("MyHiddenKey0x7F");
    std::vector<unsigned char> again(enciphered);
    decoder.decipher(again.data(), again.data(), again.size());
    EXPECT_EQ(again, plain);
    decoder.setKey("OtherKey");
    std::vector<unsigned char> wrong(enciphered);
    decoder.decipher(wrong.data(), wrong.data(), wrong.size());
    EXPECT_NE(wrong, plain);
}
