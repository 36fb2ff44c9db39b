#include "Descriptions.h"
#include "InterfaceParser.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace
{
using namespace InterfaceModel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(InterfaceParser, ReadsEveryPartOfADescription)
{
    const Description description = ParseInterfaceDescription(kSmallDescription, "small.idl");

    ASSERT_EQ(1u, description.enumerations.size());
    const Enumeration& colour = description.enumerations[0];
    EXPECT_EQ("Colour", colour.name);
    EXPECT_THAT(colour.comment, ElementsAre("A colour."));
    ASSERT_EQ(2u, colour.enumerators.size());
    EXPECT_EQ("BLUE", colour.enumerators[1].name);
    EXPECT_EQ(-2, colour.enumerators[1].value);

    ASSERT_EQ(1u, description.records.size());
    const Record& pair = description.records[0];
    EXPECT_THAT(pair.comment, ElementsAre("A pair.", "", "Of two."));
    ASSERT_EQ(3u, pair.fields.size());
    EXPECT_EQ("unsigned short", pair.fields[0].type.name);
    EXPECT_EQ("Shade", pair.fields[2].name);
    EXPECT_EQ(1u, pair.fields[2].type.pointerDepth);

    ASSERT_EQ(2u, description.interfaces.size());
    const Interface& first = description.interfaces[0];
    EXPECT_EQ("01234567-89AB-CDEF-0123-456789ABCDEF", first.uuid);
    EXPECT_EQ("IFirst Interface", first.helpString);
    EXPECT_EQ("IUnknown", first.base);
    EXPECT_EQ("IFirst", description.interfaces[1].base);
    ASSERT_EQ(2u, first.methods.size());
    ASSERT_EQ(3u, first.methods[0].parameters.size());

    ASSERT_EQ(1u, description.coClasses.size());
    EXPECT_EQ("ISecond", description.coClasses[0].defaultInterface);
    EXPECT_EQ(2, description.library.majorVersion);
    EXPECT_EQ(3, description.library.minorVersion);
    EXPECT_EQ(0x409u, description.library.localeId);
    EXPECT_EQ("stdole2.tlb", description.library.imported);
}

TEST(InterfaceParser, KeepsDirectionsAndTheirAbsence)
{
    const Description description = ParseInterfaceDescription(kSmallDescription, "small.idl");
    const std::vector<Parameter>& parameters = description.interfaces[0].methods[0].parameters;
    EXPECT_TRUE(parameters[0].isIn && !parameters[0].isOut);
    EXPECT_TRUE(parameters[1].isIn && parameters[1].isOut);
    EXPECT_TRUE(!parameters[2].isIn && !parameters[2].isOut);
    EXPECT_EQ(2u, parameters[2].type.pointerDepth);
}

TEST(InterfaceParser, LibraryBlockGivesTheOrder)
{
    const Description description = ParseInterfaceDescription(kSmallDescription, "small.idl");
    std::vector<std::string> names;
    for (const LibraryEntry& entry : description.library.entries)
        names.push_back(entry.name);
    EXPECT_THAT(names, ElementsAre("Small", "ISecond", "IFirst", "Pair", "Colour"));
    EXPECT_EQ(TypeKind::Record, description.library.entries[3].kind);
}

TEST(InterfaceParser, RefusesWhatItCannotUnderstand)
{
    struct Row
    {
        const char* reason;
        const char* text;
        const char* message;
    };
    const Row rows[] = {
        {"no library at all", "enum A { B = 1 };", "there is no library"},
        {"unknown keyword", "union A { };", "instead of 'union'"},
        {"unknown character", "enum A { B = 1 } ?", "unexpected character '?'"},
        {"text without an end", "[helpstring(\"abc\n", "no closing quote"},
        {"type that comes later", "struct A { B* next; }; struct B { long x; };", "'B' is no type"},
        {"unsigned what", "struct A { unsigned banana x; };", "'unsigned banana' is no type"},
        {"name used twice", "enum A { B = 1 }; struct A { long x; };", "'A' is declared twice"},
        {"member used twice across enumerations", "enum A { B = 1 }; enum C { B = 1 };", "'B' is declared twice"},
        {"field used twice", "struct A { long x; long x; };", "'x' is declared twice"},
        {"value that does not fit", "enum A { B = 4294967296 };", "no number that fits"},
        {"value with rubbish behind it", "enum A { B = 1x };", "no number that fits"},
        {"missing GUID", "[helpstring(\"a\")] interface I : IUnknown { };", "'uuid' is missing"},
        {"GUID in lower case",
         "[uuid(a1234567-89AB-CDEF-0123-456789ABCDEF), helpstring(\"a\")] interface I : IUnknown { };",
         "no GUID in upper case"},
        {"unknown attribute", "[dual] interface I : IUnknown { };", "'dual' has no meaning here"},
        {"GUID of an enumeration", "[uuid(01234567-89AB-CDEF-0123-456789ABCDEF)] enum A { B = 1 };",
         "'uuid' has no meaning here"},
        {"help string of a record", "[helpstring(\"a\")] struct A { long x; };", "'helpstring' has no meaning here"},
        {"version of an interface",
         "[uuid(01234567-89AB-CDEF-0123-456789ABCDEF), helpstring(\"a\"), version(1.0)] interface I : IUnknown { };",
         "'version' has no meaning here"},
        {"help string of an entry",
         "enum A { B = 1 }; [uuid(01234567-89AB-CDEF-0123-456789ABCDEF), version(1.0), "
         "lcid(0), helpstring(\"a\")] library L { importlib(\"x\"); [helpstring(\"a\")] enum A; };",
         "'helpstring' has no meaning here"},
        {"record inside a record", "struct A { long x; long y; }; struct B { A a; };", "cannot hold the record 'A'"},
        {"unknown base", "[uuid(01234567-89AB-CDEF-0123-456789ABCDEF), helpstring(\"a\")] interface I : IDispatch { };",
         "'IDispatch' has not been declared"},
        {"method that returns something else",
         "[uuid(01234567-89AB-CDEF-0123-456789ABCDEF), helpstring(\"a\")] interface I : IUnknown { long F(); };",
         "expected HRESULT"},
    };
    for (const Row& row : rows)
    {
        try
        {
            (void)ParseInterfaceDescription(row.text, "bad.idl");
            ADD_FAILURE() << row.reason;
        }
        catch (const CInterfaceParseError& error)
        {
            EXPECT_THAT(error.what(), HasSubstr(row.message)) << row.reason;
        }
    }
}

TEST(InterfaceParser, ErrorNamesFileAndLine)
{
    try
    {
        (void)ParseInterfaceDescription("// one\nenum A { B = 1 };\n\nstruct C { D x; };\n", "bad.idl");
        FAIL();
    }
    catch (const CInterfaceParseError& error)
    {
        EXPECT_THAT(error.what(), StartsWith("bad.idl(4): "));
    }
}

TEST(InterfaceParser, EndsOnEveryTruncatedDescription)
{
    // Whatever the cut, the answer is a description or an error, never a loop or a read past the end.
    for (std::size_t length = 0; length < kSmallDescription.size(); ++length)
    {
        try
        {
            (void)ParseInterfaceDescription(kSmallDescription.substr(0, length), "cut.idl");
            EXPECT_EQ(kSmallDescription.size() - 1, length) << "only the last line break may be missing";
        }
        catch (const CInterfaceParseError&)
        {
        }
    }
}
} // namespace
