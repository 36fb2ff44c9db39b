#include "InterfaceParser.h"

#include "InterfaceTokens.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>
#include <utility>

using namespace InterfaceModel;

namespace
{
/// Attribute name -> its argument, empty when it has none.
using Attributes = std::map<std::string, std::string, std::less<>>;

class CInterfaceParser
{
public:
    CInterfaceParser(std::string_view text, std::string_view fileName)
        : m_fileName(fileName), m_tokens(SplitIntoTokens(text, fileName))
    {
    }

    Description Parse()
    {
        while (Current().kind != InterfaceToken::Kind::End)
        {
            std::vector<std::string> comment = Current().comment;
            const Attributes attributes = ParseAttributes({"uuid", "helpstring", "version", "lcid"});
            const std::string keyword = TakeWord();
            if (keyword != "library")
                Allow(attributes, keyword == "interface" ? std::initializer_list<std::string_view>{"uuid", "helpstring"}
                                                         : std::initializer_list<std::string_view>{});
            if (keyword == "enum")
                ParseEnumeration(std::move(comment));
            else if (keyword == "struct")
                ParseRecord(std::move(comment));
            else if (keyword == "interface")
                ParseInterface(std::move(comment), attributes);
            else if (keyword == "library")
                ParseLibrary(attributes);
            else
                Fail("expected enum, struct, interface or library instead of '" + keyword + "'");
        }
        if (m_result.library.name.empty())
            Fail("there is no library");
        return std::move(m_result);
    }

private:
    const InterfaceToken& Current() const
    {
        return m_tokens[m_position];
    }

    [[noreturn]] void Fail(const std::string& message) const
    {
        FailParsing(m_fileName, Current().line, message);
    }

    bool Skip(std::string_view punctuation)
    {
        if (Current().kind != InterfaceToken::Kind::Punctuation || Current().text != punctuation)
            return false;
        ++m_position;
        return true;
    }

    void Expect(std::string_view punctuation)
    {
        if (!Skip(punctuation))
            Fail("expected '" + std::string(punctuation) + "' instead of '" + Current().text + "'");
    }

    std::string Take(InterfaceToken::Kind kind, const char* what)
    {
        if (Current().kind != kind)
            Fail(std::string("expected ") + what + " instead of '" + Current().text + "'");
        return m_tokens[m_position++].text;
    }

    std::string TakeWord()
    {
        return Take(InterfaceToken::Kind::Word, "a word");
    }

    void ExpectWord(std::string_view word)
    {
        if (const std::string found = TakeWord(); found != word)
            Fail("expected " + std::string(word) + " instead of '" + found + "'");
    }

    template <class T>
    T ToNumber(std::string_view text) const
    {
        const bool isHexadecimal = text.starts_with("0x");
        if (isHexadecimal)
            text.remove_prefix(2);
        T value = 0;
        const auto [end, error] =
            std::from_chars(text.data(), text.data() + text.size(), value, isHexadecimal ? 16 : 10);
        if (error != std::errc() || end != text.data() + text.size())
            Fail("'" + std::string(text) + "' is no number that fits");
        return value;
    }

    /// A name that nothing of the same kind has yet.
    std::string TakeNewName(std::set<std::string, std::less<>>& taken)
    {
        std::string name = TakeWord();
        if (!taken.insert(name).second)
            Fail("'" + name + "' is declared twice");
        return name;
    }

    void Allow(const Attributes& attributes, std::initializer_list<std::string_view> known) const
    {
        for (const auto& [name, argument] : attributes)
            if (std::find(known.begin(), known.end(), name) == known.end())
                Fail("attribute '" + name + "' has no meaning here");
    }

    Attributes ParseAttributes(std::initializer_list<std::string_view> known)
    {
        Attributes result;
        if (!Skip("["))
            return result;
        do
        {
            std::string& argument = result[TakeWord()];
            if (!Skip("("))
                continue;
            argument =
                Current().kind == InterfaceToken::Kind::Text ? Take(InterfaceToken::Kind::Text, "a text") : TakeWord();
            Expect(")");
        } while (Skip(","));
        Expect("]");
        Allow(result, known);
        return result;
    }

    const std::string& Required(const Attributes& attributes, std::string_view name) const
    {
        const auto found = attributes.find(name);
        if (found == attributes.end() || found->second.empty())
            Fail("attribute '" + std::string(name) + "' is missing");
        return found->second;
    }

    std::string RequiredGuid(const Attributes& attributes) const
    {
        const std::string& text = Required(attributes, "uuid");
        bool isGuid = text.size() == 36;
        for (std::size_t i = 0; isGuid && i < text.size(); ++i)
            isGuid = i == 8 || i == 13 || i == 18 || i == 23
                         ? text[i] == '-'
                         : std::string_view("0123456789ABCDEF").find(text[i]) != std::string_view::npos;
        if (!isGuid)
            Fail("'" + text + "' is no GUID in upper case");
        return text;
    }

    TypeReference ParseType()
    {
        TypeReference result;
        result.name = TakeWord();
        if (result.name == "unsigned")
            result.name += " " + TakeWord();
        if (FindBaseType(result.name) == nullptr && FindByName(m_result.enumerations, result.name) == nullptr &&
            FindByName(m_result.records, result.name) == nullptr)
            Fail("'" + result.name + "' is no type that has been declared");
        while (Skip("*"))
            ++result.pointerDepth;
        return result;
    }

    void ParseEnumeration(std::vector<std::string> comment)
    {
        Enumeration result{std::move(comment), TakeNewName(m_globalNames), {}};
        Expect("{");
        do
        {
            Enumerator enumerator{TakeNewName(m_globalNames), 0};
            Expect("=");
            enumerator.value = ToNumber<std::int32_t>(TakeWord());
            result.enumerators.push_back(std::move(enumerator));
        } while (Skip(","));
        Expect("}");
        Expect(";");
        m_result.enumerations.push_back(std::move(result));
    }

    void ParseRecord(std::vector<std::string> comment)
    {
        Record result{std::move(comment), TakeNewName(m_globalNames), {}};
        std::set<std::string, std::less<>> fieldNames;
        Expect("{");
        do
        {
            TypeReference type = ParseType();
            if (type.pointerDepth == 0 && FindByName(m_result.records, type.name) != nullptr)
                Fail("a record cannot hold the record '" + type.name + "', only a pointer to it");
            result.fields.push_back({std::move(type), TakeNewName(fieldNames)});
            Expect(";");
        } while (!Skip("}"));
        Expect(";");
        m_result.records.push_back(std::move(result));
    }

    void ParseInterface(std::vector<std::string> comment, const Attributes& attributes)
    {
        Interface result{std::move(comment),
                         RequiredGuid(attributes),
                         Required(attributes, "helpstring"),
                         TakeNewName(m_globalNames),
                         {},
                         {}};
        Expect(":");
        result.base = TakeWord();
        if (result.base != "IUnknown" && FindByName(m_result.interfaces, result.base) == nullptr)
            Fail("the base interface '" + result.base + "' has not been declared");
        Expect("{");
        while (!Skip("}"))
            result.methods.push_back(ParseMethod());
        Expect(";");
        m_result.interfaces.push_back(std::move(result));
    }

    Method ParseMethod()
    {
        Method result;
        result.comment = Current().comment;
        ExpectWord("HRESULT");
        result.name = TakeNewName(m_methodNames);
        Expect("(");
        std::set<std::string, std::less<>> names;
        while (!Skip(")"))
        {
            if (!result.parameters.empty())
                Expect(",");
            const Attributes directions = ParseAttributes({"in", "out"});
            TypeReference type = ParseType();
            result.parameters.push_back(
                {directions.contains("in"), directions.contains("out"), std::move(type), TakeNewName(names)});
        }
        Expect(";");
        return result;
    }

    void ParseLibrary(const Attributes& attributes)
    {
        Library& library = m_result.library;
        if (!library.name.empty())
            Fail("there is more than one library");
        library.uuid = RequiredGuid(attributes);
        library.helpString = Required(attributes, "helpstring");
        library.localeId = ToNumber<std::uint32_t>(Required(attributes, "lcid"));
        const std::string& version = Required(attributes, "version");
        const std::size_t dot = version.find('.');
        if (dot == std::string::npos)
            Fail("a version is two numbers with a dot between them");
        library.majorVersion = ToNumber<std::uint16_t>(std::string_view(version).substr(0, dot));
        library.minorVersion = ToNumber<std::uint16_t>(std::string_view(version).substr(dot + 1));
        library.name = TakeNewName(m_globalNames);
        Expect("{");
        ExpectWord("importlib");
        Expect("(");
        library.imported = Take(InterfaceToken::Kind::Text, "a file name in quotes");
        Expect(")");
        Expect(";");
        while (!Skip("}"))
            library.entries.push_back(ParseLibraryEntry());
        Expect(";");
    }

    LibraryEntry ParseLibraryEntry()
    {
        const Attributes attributes = ParseAttributes({"uuid", "helpstring"});
        const std::string keyword = TakeWord();
        if (keyword == "coclass")
            return ParseCoClass(attributes);
        Allow(attributes, {});
        const std::string name = TakeWord();
        Expect(";");
        if (keyword == "interface" && FindByName(m_result.interfaces, name) != nullptr)
            return {TypeKind::Interface, name};
        if (keyword == "enum" && FindByName(m_result.enumerations, name) != nullptr)
            return {TypeKind::Enumeration, name};
        if (keyword == "struct" && FindByName(m_result.records, name) != nullptr)
            return {TypeKind::Record, name};
        Fail("there is no " + keyword + " " + name);
    }

    LibraryEntry ParseCoClass(const Attributes& attributes)
    {
        CoClass result{RequiredGuid(attributes), Required(attributes, "helpstring"), TakeNewName(m_globalNames), {}};
        Expect("{");
        if (!ParseAttributes({"default"}).contains("default"))
            Fail("a coclass has one interface, its default one");
        ExpectWord("interface");
        result.defaultInterface = TakeWord();
        if (FindByName(m_result.interfaces, result.defaultInterface) == nullptr)
            Fail("there is no interface " + result.defaultInterface);
        Expect(";");
        Expect("}");
        Expect(";");
        m_result.coClasses.push_back(result);
        return {TypeKind::CoClass, result.name};
    }

    std::string_view m_fileName;
    std::vector<InterfaceToken> m_tokens;
    std::size_t m_position = 0;
    std::set<std::string, std::less<>> m_globalNames;
    std::set<std::string, std::less<>> m_methodNames; // one chain of interfaces: a method's name is unique in it
    Description m_result;
};
} // namespace

Description ParseInterfaceDescription(std::string_view text, std::string_view fileName)
{
    return CInterfaceParser(text, fileName).Parse();
}
