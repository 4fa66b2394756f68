#ifndef RTK_PATH_H
#define RTK_PATH_H

#include <atomic>
#include <string>
#include <utility>

namespace rtk
{
// A file system path held as text with '/' as separator. Nothing here touches the file system except
// the current directory operations.
//
// The text is shared: copies of a path point at one reference-counted string (an empty path holds
// none), so the many objects that record the file they came from cost a pointer each. Changing
// operations build a new text for the changed path only.
class Path
{
public:
    Path() noexcept : m_pShared(nullptr) {}
    Path(std::string const& text) : m_pShared(share(text)) {}
    Path(char const* pText) : m_pShared(pText != nullptr && pText[0] != '\0' ? share(pText) : nullptr) {}
    Path(Path const& other) noexcept : m_pShared(other.m_pShared)
    {
        if (m_pShared != nullptr)
        {
            m_pShared->m_references.fetch_add(1, std::memory_order_relaxed);
        }
    }
    Path(Path&& other) noexcept : m_pShared(other.m_pShared) { other.m_pShared = nullptr; }
    ~Path() { release(); }

    Path& operator=(Path const& other) noexcept
    {
        Path copy(other);
        std::swap(m_pShared, copy.m_pShared);
        return *this;
    }
    Path& operator=(Path&& other) noexcept
    {
        std::swap(m_pShared, other.m_pShared);
        return *this;
    }

    std::string const& getString() const { return m_pShared != nullptr ? m_pShared->m_text : emptyText(); }
    char const* c_str() const { return getString().c_str(); }
    bool isEmpty() const { return m_pShared == nullptr; }
    bool isAbsolute() const { return !isEmpty() && getString()[0] == '/'; }

    // Normalises the text: repeated separators become one, "." elements go, "x/.." pairs are resolved
    // where an element stands before the "..", a trailing separator goes. The last element keeps its
    // text whatever it is, and an empty path stays empty. The path is not made absolute.
    void fixNotFullQualified();

    // Drops the last element: "a/b/c" -> "a/b", "/a" -> "/", "a" -> "".
    void cutBack();

    // Adds an element with exactly one separator between the two texts.
    Path& append(std::string const& element);
    Path operator+(std::string const& element) const;

    // The text behind the last separator (trailing separators ignored); "" for an empty path.
    std::string getLastElement() const;

    // TMPDIR when set and not empty, else "/tmp".
    static Path getTempDirPath();
    // The process's working directory; empty when it cannot be read.
    static Path getCurrentDirectory();
    static bool setCurrentDirectory(Path const& path);

    bool operator==(Path const& other) const
    {
        return m_pShared == other.m_pShared || getString() == other.getString();
    }
    bool operator!=(Path const& other) const { return !(*this == other); }
    bool operator<(Path const& other) const { return getString() < other.getString(); }

private:
    struct Shared
    {
        std::atomic<unsigned int> m_references;
        std::string m_text;
    };

    // A new shared text, or null for the empty text.
    static Shared* share(std::string const& text);
    static std::string const& emptyText();
    void release() noexcept;
    // Replaces the text by a new one.
    void assign(std::string const& text);

    Shared* m_pShared;
};
} // namespace rtk

#endif
