#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What an interface description says, free of notation. Plain data; the parser checks that every name is known.
namespace InterfaceModel
{
/// A type that needs no declaration, with its spelling in the client header, its VARTYPE in the type library and its
/// size in a 32-bit process.
struct BaseType
{
    std::string_view name;
    std::string_view headerName;
    std::uint16_t variantType;
    std::uint32_t sizeBytes;
};

struct TypeReference
{
    std::string name; ///< a base type, an enumeration or a record
    unsigned pointerDepth = 0;
};

struct Enumerator
{
    std::string name;
    std::int32_t value = 0;
};

struct Enumeration
{
    std::vector<std::string> comment;
    std::string name;
    std::vector<Enumerator> enumerators;
};

struct Field
{
    TypeReference type;
    std::string name;
};

struct Record
{
    std::vector<std::string> comment;
    std::string name;
    std::vector<Field> fields;
};

struct Parameter
{
    bool isIn = false; ///< both false: declared without a direction
    bool isOut = false;
    TypeReference type;
    std::string name;
};

struct Method
{
    std::vector<std::string> comment;
    std::string name;
    std::vector<Parameter> parameters;
};

struct Interface
{
    std::vector<std::string> comment;
    std::string uuid; ///< 36 characters, no braces
    std::string helpString;
    std::string name;
    std::string base;
    std::vector<Method> methods;
};

struct CoClass
{
    std::string uuid;
    std::string helpString;
    std::string name;
    std::string defaultInterface;
};

enum class TypeKind
{
    CoClass,
    Interface,
    Enumeration,
    Record
};

/// One line of the library block: the n-th description of the type library.
struct LibraryEntry
{
    TypeKind kind;
    std::string name;
};

struct Library
{
    std::string uuid;
    std::string helpString;
    std::string name;
    std::uint16_t majorVersion = 0;
    std::uint16_t minorVersion = 0;
    std::uint32_t localeId = 0;
    std::string imported; ///< the library that declares IUnknown
    std::vector<LibraryEntry> entries;
};

struct Description
{
    std::vector<Enumeration> enumerations;
    std::vector<Record> records;
    std::vector<Interface> interfaces;
    std::vector<CoClass> coClasses;
    Library library;
};

/// The base type of that name, or null.
const BaseType* FindBaseType(std::string_view name) noexcept;

/// The element of that name, or null.
template <class T>
const T* FindByName(const std::vector<T>& elements, std::string_view name) noexcept
{
    for (const T& element : elements)
        if (element.name == name)
            return &element;
    return nullptr;
}
} // namespace InterfaceModel
