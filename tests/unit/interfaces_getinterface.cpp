#include <interfaces/iinterface.h>

#include <gtest/gtest.h>

namespace
{
class IAlpha : public virtual IInterface
{
public:
    static const unsigned int s_interfaceID = 1000;
    virtual int alpha() = 0;
};

class IBeta : public virtual IInterface
{
public:
    static const unsigned int s_interfaceID = 1001;
    virtual int beta() = 0;
};

// Answers 1000 correctly, and 1001 wrongly with itself although it is no IBeta.
class AlphaOnly : public IAlpha
{
public:
    IInterface* queryInterface(unsigned int id) override
    {
        if (id == 1000 || id == 1001)
            return static_cast<IAlpha*>(this);
        return nullptr;
    }
    int alpha() override { return 7; }
};
} // namespace

TEST(GetInterface, AsksByIdAndChecksTheAnswer)
{
    AlphaOnly object;
    IAlpha* pAlpha = getInterface<IAlpha>(&object);
    ASSERT_NE(pAlpha, nullptr);
    EXPECT_EQ(pAlpha->alpha(), 7);
    // A wrong answer to an id gives null, not a bad pointer.
    EXPECT_EQ(getInterface<IBeta>(&object), nullptr);
    EXPECT_EQ(getInterface<IAlpha>(static_cast<AlphaOnly*>(nullptr)), nullptr);
}
