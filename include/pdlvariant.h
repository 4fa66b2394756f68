#ifndef PDLVARIANT_H
#define PDLVARIANT_H

// PDLVariant: the one value type of the PDL run time, and the abstract value iteration that every
// set-like thing offers (PDLVariantIterator, its value wrapper PDLVariantIteratorCont and the two
// concrete iterators PDLVariantIteratorEmpty and PDLVariantIteratorVectorWrapper).

#include <cstdint>
#include <iosfwd>
#include <string>

// A value that is either nothing (Invalid) or a bool, a 32-bit int, a 32-bit float or a text, and that
// converts to every other kind on demand. Bool, Int and Float keep their value in m_scalar and never
// touch the heap; m_string is only written for String values.
class PDLVariant
{
public:
    // The numbers are stored and compared by other units: do not renumber.
    enum EKind : std::uint32_t
    {
        eInvalid = 0,
        eBool = 1,
        eInt = 2,
        eFloat = 3,
        eString = 4
    };

    PDLVariant();
    PDLVariant(bool value);
    PDLVariant(int value);
    // The 32 bits are kept and read as signed: 4294967295 becomes -1.
    PDLVariant(unsigned int value);
    PDLVariant(float value);
    // A null pointer is taken as the empty text.
    PDLVariant(char const* pText);
    PDLVariant(std::string const& text);
    PDLVariant(PDLVariant const& other);
    PDLVariant(PDLVariant&& other) noexcept;
    ~PDLVariant() = default;

    // Copies the kind and the field of that kind only; the other field keeps what it held.
    PDLVariant& operator=(PDLVariant const& other);
    PDLVariant& operator=(PDLVariant&& other) noexcept;

    EKind getKind() const { return static_cast<EKind>(m_kind); }

    void setBool(bool value);
    void setInt(int value);
    void setFloat(float value);
    void setString(std::string const& text);

    bool getBool() const;
    int getInt() const;
    float getFloat() const;
    std::string getString() const;
    std::string getFunctionID() const;

    // The float-to-text rule used by getString of a Float; formats the argument, not this value.
    std::string formatFloat(float value) const;

    // Resets the value but keeps the kind (an Invalid stays Invalid).
    void clear();
    // Turns the variant into a String (holding its own text) unless it is one, then appends.
    void append(std::string const& text);

    bool operator==(PDLVariant const& other) const;

    // Write to standard output, no line end; the stream overloads write to the given stream.
    void print() const;
    void print(std::ostream& out) const;
    void dump() const;
    void dump(std::ostream& out) const;

private:
    union Scalar
    {
        bool m_bool;
        std::int32_t m_int;
        float m_float;
    };

    std::uint32_t m_kind;
    Scalar m_scalar;
    std::string m_string;
};

// Abstract iterator over a sequence of values. The increments advance in place and both return the
// iterator itself (the post-increment makes no copy). operator* hands out a copy of the value.
class PDLVariantIterator
{
public:
    virtual PDLVariantIterator& operator++() = 0;
    virtual PDLVariantIterator& operator++(int) = 0;
    virtual bool operator==(PDLVariantIterator const& other) const = 0;
    virtual bool operator!=(PDLVariantIterator const& other) const = 0;
    virtual PDLVariant operator*() const = 0;
    // A new heap copy of this iterator, at the same position.
    virtual PDLVariantIterator* clone() const = 0;

    // Declared after the operations above so that they keep their order. Virtual so that a cont can
    // release any concrete iterator, including one that holds a text or other resource.
    virtual ~PDLVariantIterator() = default;

protected:
    PDLVariantIterator() = default;
    PDLVariantIterator(PDLVariantIterator const&) = default;
    PDLVariantIterator& operator=(PDLVariantIterator const&) = default;
};

// The iterator value handed around by begin and end: owns one heap-allocated iterator and forwards
// to it. Copying clones the wrapped iterator.
class PDLVariantIteratorCont
{
public:
    // Takes ownership of pIterator, which must not be null.
    explicit PDLVariantIteratorCont(PDLVariantIterator* pIterator);
    PDLVariantIteratorCont(PDLVariantIteratorCont const& other);
    PDLVariantIteratorCont(PDLVariantIteratorCont&& other) noexcept;
    PDLVariantIteratorCont& operator=(PDLVariantIteratorCont const& other);
    PDLVariantIteratorCont& operator=(PDLVariantIteratorCont&& other) noexcept;

    // Both forward to the wrapped iterator's post-increment.
    virtual PDLVariantIteratorCont& operator++();
    virtual PDLVariantIteratorCont& operator++(int);
    // Compare the two wrapped iterators (left one receiving).
    virtual bool operator==(PDLVariantIteratorCont const& other) const;
    virtual bool operator!=(PDLVariantIteratorCont const& other) const;
    virtual PDLVariant operator*() const;

    virtual ~PDLVariantIteratorCont();

private:
    PDLVariantIterator* m_pIterator;
};

// Iterates over nothing: stepping stays put, it equals every iterator, and its value is Invalid.
class PDLVariantIteratorEmpty : public PDLVariantIterator
{
public:
    // Shared instance; it has no mutable contents.
    static PDLVariantIteratorEmpty obj;

    PDLVariantIteratorEmpty() = default;

    PDLVariantIterator& operator++() override;
    PDLVariantIterator& operator++(int) override;
    bool operator==(PDLVariantIterator const& other) const override;
    bool operator!=(PDLVariantIterator const& other) const override;
    PDLVariant operator*() const override;
    PDLVariantIterator* clone() const override;
};

// Walks a contiguous vector of PDLVariant by pointer. Comparing it with an iterator of another
// class throws std::bad_cast.
class PDLVariantIteratorVectorWrapper : public PDLVariantIterator
{
public:
    explicit PDLVariantIteratorVectorWrapper(PDLVariant const* pPosition = nullptr);

    PDLVariantIterator& operator++() override;
    PDLVariantIterator& operator++(int) override;
    bool operator==(PDLVariantIterator const& other) const override;
    bool operator!=(PDLVariantIterator const& other) const override;
    PDLVariant operator*() const override;
    PDLVariantIterator* clone() const override;

private:
    PDLVariant const* m_pPosition;
};

#endif // PDLVARIANT_H
