#ifndef RTK_PATH_H
#define RTK_PATH_H

#include <string>

namespace rtk
{
// A file system path held as text with '/' as separator. Nothing here touches the file system except
// the current directory operations.
class Path
{
public:
    Path() {}
    Path(std::string const& text) : m_text(text) {}
    Path(char const* pText) : m_text(pText != nullptr ? pText : "") {}

    std::string const& getString() const { return m_text; }
    char const* c_str() const { return m_text.c_str(); }
    bool isEmpty() const { return m_text.empty(); }
    bool isAbsolute() const { return !m_text.empty() && m_text[0] == '/'; }

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

    bool operator==(Path const& other) const { return m_text == other.m_text; }
    bool operator!=(Path const& other) const { return m_text != other.m_text; }
    bool operator<(Path const& other) const { return m_text < other.m_text; }

private:
    std::string m_text;
};
} // namespace rtk

#endif
