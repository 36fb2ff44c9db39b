#pragma once

#include <string>
#include <string_view>
#include <vector>

/// One parser of what a camera sends, and a function that feeds it and looks whether it keeps its promises.
/// Each target is a file in Targets/ that registers itself under the file's name; inputs that have shown something are
/// kept in the folder of that name in Tests/Corpus/. libFuzzer makes new ones up (`./dev fuzz`), a test repeats the
/// kept ones.
/// Made before main, then only read; one thread.
class CFuzzTarget
{
public:
    using Function = void (*)(std::string_view input);

    CFuzzTarget(const char* name, Function function);

    const char* Name() const noexcept
    {
        return m_name;
    }
    /// Feeds the input, in a block of exactly its length, so that a read beyond it shows; with all of the log on.
    /// Throws std::logic_error when a promise is broken, these among them: what is logged, as the log file gets it,
    /// grows no faster than the input, and each message is one line.
    void Run(std::string_view input) const;

    /// Those that are linked into this program.
    static const std::vector<const CFuzzTarget*>& All();

private:
    const char* m_name;
    Function m_function;
};

/// What targets have in common.
namespace Fuzz
{
/// Throws std::logic_error with the promise's text when it is not kept.
void Require(bool isKept, const char* promise);

/// A text, and how it comes: cut into pieces.
struct CutText
{
    std::string_view text;
    std::vector<std::string_view> pieces;
};

/// Each byte of an input's first line is the length of a piece, " " for 1, "!" for 2 and so on up to 64; they count
/// again from the first one until the text behind that line is used up.
CutText Cut(std::string_view input);

/// As the component's texts are wide; whatever code points the input names.
std::wstring Wide(std::string_view input);

/// A view that points somewhere else is found by reading it.
template <class Text>
bool IsInside(Text part, Text whole) noexcept
{
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}
} // namespace Fuzz
