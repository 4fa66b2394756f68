// The value iterators: empty, vector wrapper, and the cont that begin/end hand out by value.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

namespace
{
PDLVariantIteratorCont beginOf(std::vector<PDLVariant> const& values)
{
    PDLVariantIteratorVectorWrapper kept(values.data());
    return PDLVariantIteratorCont(kept.clone());
}

PDLVariantIteratorCont endOf(std::vector<PDLVariant> const& values)
{
    PDLVariantIteratorVectorWrapper kept(values.data() + values.size());
    return PDLVariantIteratorCont(kept.clone());
}

std::vector<std::string> texts(PDLVariantIteratorCont it, PDLVariantIteratorCont const& end)
{
    std::vector<std::string> result;
    for (; it != end; ++it)
    {
        result.push_back((*it).getString());
    }
    return result;
}

TEST(PDLVariantIterators, EmptyIteratorStaysAndEqualsEverything)
{
    std::vector<PDLVariant> values{PDLVariant(1), PDLVariant(2)};
    PDLVariantIteratorVectorWrapper wrapper(values.data());
    PDLVariantIteratorEmpty empty;

    PDLVariantIterator& stepped = ++empty;
    EXPECT_EQ(&empty, &stepped);
    EXPECT_EQ(&empty, &(empty++));
    EXPECT_EQ(PDLVariant::eInvalid, (*empty).getKind());

    EXPECT_TRUE(empty == wrapper);
    EXPECT_FALSE(empty != wrapper);
    EXPECT_TRUE(empty == PDLVariantIteratorEmpty::obj);
    EXPECT_FALSE(PDLVariantIteratorEmpty::obj != empty);
    EXPECT_EQ(PDLVariant::eInvalid, (*PDLVariantIteratorEmpty::obj).getKind());

    PDLVariantIterator* pClone = PDLVariantIteratorEmpty::obj.clone();
    EXPECT_NE(&PDLVariantIteratorEmpty::obj, pClone);
    EXPECT_NE(nullptr, dynamic_cast<PDLVariantIteratorEmpty*>(pClone));
    delete pClone;

    // The receiving side decides: a wrapper cannot compare with an empty iterator.
    EXPECT_THROW((void)(wrapper == empty), std::bad_cast);
    EXPECT_THROW((void)(wrapper != empty), std::bad_cast);
}

TEST(PDLVariantIterators, VectorWrapperWalksTheVector)
{
    std::vector<PDLVariant> values{PDLVariant(1), PDLVariant("two"), PDLVariant(3.0f)};
    PDLVariantIteratorVectorWrapper it(values.data());
    PDLVariantIteratorVectorWrapper end(values.data() + values.size());

    EXPECT_EQ("1", (*it).getString());
    EXPECT_TRUE(it != end);
    // The post-increment steps in place and hands back the stepped iterator itself.
    PDLVariantIterator& same = it++;
    EXPECT_EQ(&it, &same);
    EXPECT_EQ("two", (*same).getString());
    EXPECT_EQ(&it, &(++it));
    EXPECT_EQ("3.000", (*it).getString());
    ++it;
    EXPECT_TRUE(it == end);
    EXPECT_FALSE(it != end);

    // The value is a copy: changing it leaves the vector alone.
    PDLVariantIteratorVectorWrapper first(values.data());
    PDLVariant copy = *first;
    copy.setInt(99);
    EXPECT_EQ(1, values[0].getInt());

    // A clone sits at the same position and moves on its own.
    PDLVariantIterator* pClone = first.clone();
    EXPECT_TRUE(first == *pClone);
    ++*pClone;
    EXPECT_FALSE(first == *pClone);
    EXPECT_EQ("1", (*first).getString());
    EXPECT_EQ("two", (**pClone).getString());
    delete pClone;
}

TEST(PDLVariantIterators, ContIteratesByValue)
{
    std::vector<PDLVariant> values{PDLVariant(true), PDLVariant(-4), PDLVariant("x")};
    EXPECT_EQ((std::vector<std::string>{"ON", "-4", "x"}), texts(beginOf(values), endOf(values)));

    std::vector<PDLVariant> none;
    EXPECT_TRUE(beginOf(none) == endOf(none));
    EXPECT_TRUE(texts(beginOf(none), endOf(none)).empty());

    // Both increments step once and return the cont itself.
    PDLVariantIteratorCont it = beginOf(values);
    EXPECT_EQ(&it, &(it++));
    EXPECT_EQ(-4, (*it).getInt());
    EXPECT_EQ(&it, &(++it));
    EXPECT_EQ("x", (*it).getString());

    // A copy owns its own iterator.
    PDLVariantIteratorCont copy(it);
    ++copy;
    EXPECT_TRUE(copy == endOf(values));
    EXPECT_FALSE(it == endOf(values));
    copy = it;
    EXPECT_TRUE(copy == it);
    PDLVariantIteratorCont moved(std::move(copy));
    EXPECT_EQ("x", (*moved).getString());
}

TEST(PDLVariantIterators, ContOfEmptyIteratorEndsAtOnce)
{
    std::vector<PDLVariant> values{PDLVariant(1)};
    PDLVariantIteratorCont empty(new PDLVariantIteratorEmpty());
    PDLVariantIteratorCont other(PDLVariantIteratorEmpty::obj.clone());
    EXPECT_TRUE(empty == other);
    EXPECT_FALSE(empty != other);
    ++empty;
    EXPECT_TRUE(empty == other);
    EXPECT_EQ(PDLVariant::eInvalid, (*empty).getKind());

    // Left side empty: equal to anything; left side wrapper: a bad cast.
    EXPECT_TRUE(empty == beginOf(values));
    EXPECT_THROW((void)(beginOf(values) == empty), std::bad_cast);
}

// An iterator that owns a text, as iterators over mapped values do, and counts its releases.
class TextIterator : public PDLVariantIterator
{
public:
    explicit TextIterator(int* pReleased) : m_pReleased(pReleased), m_text(64, 'm') {}
    ~TextIterator() override { ++*m_pReleased; }
    PDLVariantIterator& operator++() override { return *this; }
    PDLVariantIterator& operator++(int) override { return *this; }
    bool operator==(PDLVariantIterator const&) const override { return true; }
    bool operator!=(PDLVariantIterator const&) const override { return false; }
    PDLVariant operator*() const override { return PDLVariant(m_text); }
    PDLVariantIterator* clone() const override { return new TextIterator(m_pReleased); }

private:
    int* m_pReleased;
    std::string m_text;
};

TEST(PDLVariantIterators, ContReleasesWhatItOwns)
{
    int released = 0;
    {
        PDLVariantIteratorCont a(new TextIterator(&released));
        PDLVariantIteratorCont b(a);
        b = a;
        EXPECT_EQ(1, released); // the copy replaced by the assignment
        EXPECT_EQ(std::string(64, 'm'), (*b).getString());
    }
    EXPECT_EQ(3, released);
}
} // namespace
