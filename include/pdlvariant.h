#ifndef PDLVARIANT_H
#define PDLVARIANT_H

// PDLVariant: the one value type of the PDL run time, and the abstract value iteration that every
// set-like thing offers (PDLVariantIterator, its value wrapper PDLVariantIteratorCont and the two
// concrete iterators PDLVariantIteratorEmpty and PDLVariantIteratorVectorWrapper).

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

// The text of a String variant: a pointer to one shared, reference-counted text. Copies share the
// text (a count increment, no allocation); a write to shared text copies it first. An empty text
// holds no allocation at all. Counting is atomic, since the panel state hands values to other threads.
class PDLVariantText
{
public:
    PDLVariantText() noexcept : m_pShared(nullptr) {}
    explicit PDLVariantText(std::string const& text);
    explicit PDLVariantText(std::string&& text);
    PDLVariantText(PDLVariantText const& other) noexcept : m_pShared(other.m_pShared)
    {
        if (m_pShared != nullptr)
        {
            m_pShared->m_references.fetch_add(1, std::memory_order_relaxed);
        }
    }
    PDLVariantText(PDLVariantText&& other) noexcept : m_pShared(other.m_pShared)
    {
        other.m_pShared = nullptr;
    }
    ~PDLVariantText()
    {
        if (m_pShared != nullptr)
        {
            release();
        }
    }

    PDLVariantText& operator=(PDLVariantText const& other) noexcept
    {
        if (m_pShared != other.m_pShared)
        {
            PDLVariantText copy(other);
            std::swap(m_pShared, copy.m_pShared);
        }
        return *this;
    }
    PDLVariantText& operator=(PDLVariantText&& other) noexcept
    {
        std::swap(m_pShared, other.m_pShared);
        return *this;
    }

    std::string const& get() const { return m_pShared != nullptr ? m_pShared->m_text : s_empty; }
    bool empty() const { return m_pShared == nullptr || m_pShared->m_text.empty(); }
    // The text for writing: unshared first when another variant holds it too.
    std::string& modify();
    void clear();
    bool operator==(PDLVariantText const& other) const
    {
        return m_pShared == other.m_pShared || get() == other.get();
    }

private:
    struct Shared
    {
        std::atomic<std::uint32_t> m_references;
        std::string m_text;
    };

    void release() noexcept;

    static std::string const s_empty;
    Shared* m_pShared;
};

// A value that is either nothing (Invalid) or a bool, a 32-bit int, a 32-bit float or a text, and that
// converts to every other kind on demand. Bool, Int and Float keep their value in m_scalar and never
// touch the heap; m_string is only written for String values. The operations that numbers take on
// the interpreter's hot paths are inline; text conversions are out of line.
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

    PDLVariant() : m_kind(eInvalid) { m_scalar.m_int = 0; }
    PDLVariant(bool value) : m_kind(eBool)
    {
        m_scalar.m_int = 0;
        m_scalar.m_bool = value;
    }
    PDLVariant(int value) : m_kind(eInt) { m_scalar.m_int = value; }
    // The 32 bits are kept and read as signed: 4294967295 becomes -1.
    PDLVariant(unsigned int value) : m_kind(eInt) { m_scalar.m_int = static_cast<std::int32_t>(value); }
    PDLVariant(float value) : m_kind(eFloat) { m_scalar.m_float = value; }
    // A null pointer is taken as the empty text.
    PDLVariant(char const* pText);
    PDLVariant(std::string const& text) : m_kind(eString), m_string(text) { m_scalar.m_int = 0; }
    PDLVariant(std::string&& text) : m_kind(eString), m_string(std::move(text)) { m_scalar.m_int = 0; }
    // Only a String's text is copied (shared), so that copying a number never touches the text.
    PDLVariant(PDLVariant const& other) : m_kind(other.m_kind), m_scalar(other.m_scalar)
    {
        if (m_kind == eString)
        {
            m_string = other.m_string;
        }
    }
    PDLVariant(PDLVariant&& other) noexcept : m_kind(other.m_kind), m_scalar(other.m_scalar)
    {
        if (m_kind == eString)
        {
            m_string = std::move(other.m_string);
        }
    }
    ~PDLVariant() = default;

    // Copies the kind and the field of that kind only; the other field keeps what it held.
    PDLVariant& operator=(PDLVariant const& other)
    {
        m_kind = other.m_kind;
        if (m_kind == eString)
        {
            m_string = other.m_string; // self-assignment safe
        }
        else if (m_kind != eInvalid)
        {
            m_scalar = other.m_scalar;
        }
        return *this;
    }
    PDLVariant& operator=(PDLVariant&& other) noexcept
    {
        if (this != &other)
        {
            m_kind = other.m_kind;
            if (m_kind == eString)
            {
                m_string = std::move(other.m_string);
            }
            else if (m_kind != eInvalid)
            {
                m_scalar = other.m_scalar;
            }
        }
        return *this;
    }

    EKind getKind() const { return static_cast<EKind>(m_kind); }

    void setBool(bool value)
    {
        m_kind = eBool;
        m_scalar.m_int = 0;
        m_scalar.m_bool = value;
    }
    void setInt(int value)
    {
        m_kind = eInt;
        m_scalar.m_int = value;
    }
    void setFloat(float value)
    {
        m_kind = eFloat;
        m_scalar.m_float = value;
    }
    void setString(std::string const& text);

    bool getBool() const
    {
        switch (m_kind)
        {
        case eBool:
            return m_scalar.m_bool;
        case eInt:
            return m_scalar.m_int != 0;
        case eFloat:
            return m_scalar.m_float != 0.0f; // a NaN is unequal to zero, so true
        case eString:
            return textToBool();
        default:
            return false;
        }
    }
    int getInt() const
    {
        switch (m_kind)
        {
        case eBool:
            return m_scalar.m_bool ? 1 : 0;
        case eInt:
            return m_scalar.m_int;
        case eFloat:
            return floatToInt(m_scalar.m_float);
        case eString:
            return textToInt();
        default:
            return 0;
        }
    }
    float getFloat() const
    {
        switch (m_kind)
        {
        case eBool:
            return m_scalar.m_bool ? 1.0f : 0.0f;
        case eInt:
            return static_cast<float>(m_scalar.m_int);
        case eFloat:
            return m_scalar.m_float;
        case eString:
            return textToFloat();
        default:
            return 0.0f;
        }
    }
    std::string getString() const;
    std::string getFunctionID() const;
    // The text of a String without a copy; for any other kind getString() written into scratch.
    std::string const& getStringRef(std::string& scratch) const
    {
        if (m_kind == eString)
        {
            return m_string.get();
        }
        scratch = getString();
        return scratch;
    }

    // The float-to-text rule used by getString of a Float; formats the argument, not this value.
    std::string formatFloat(float value) const;

    // Resets the value but keeps the kind (an Invalid stays Invalid).
    void clear();
    // Turns the variant into a String (holding its own text) unless it is one, then appends.
    void append(std::string const& text);

    bool operator==(PDLVariant const& other) const
    {
        if (m_kind == other.m_kind)
        {
            switch (m_kind)
            {
            case eBool:
                return m_scalar.m_bool == other.m_scalar.m_bool;
            case eInt:
                return m_scalar.m_int == other.m_scalar.m_int;
            case eFloat:
                return m_scalar.m_float == other.m_scalar.m_float;
            case eString:
                return m_string == other.m_string;
            default:
                return true; // two Invalids
            }
        }
        if (m_kind == eInvalid || other.m_kind == eInvalid)
        {
            return false;
        }
        return equalsOtherKind(other);
    }

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

    // Truncation toward zero; NaN and values outside the 32-bit range give the integer indefinite.
    static std::int32_t floatToInt(float value)
    {
        if (value >= -2147483648.0f && value < 2147483648.0f)
        {
            return static_cast<std::int32_t>(value);
        }
        return INT32_MIN;
    }
    bool textToBool() const;
    int textToInt() const;
    float textToFloat() const;
    bool equalsOtherKind(PDLVariant const& other) const;

    std::uint32_t m_kind;
    Scalar m_scalar;
    PDLVariantText m_string;
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
