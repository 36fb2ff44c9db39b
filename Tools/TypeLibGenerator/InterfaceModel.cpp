#include "InterfaceModel.h"

namespace InterfaceModel
{
namespace
{
// VARTYPE numbers are part of the type library's format, which is why they stand here without a Windows header.
constexpr BaseType kBaseTypes[] = {
    {"BSTR", "BSTR", 8, 4},                      // VT_BSTR
    {"long", "long", 3, 4},                      // VT_I4
    {"BOOL", "BOOL", 3, 4},                      // the same 32 bits, read as yes or no
    {"unsigned short", "unsigned short", 18, 2}, // VT_UI2
    {"byte", "unsigned char", 17, 1},            // VT_UI1
};
} // namespace

const BaseType* FindBaseType(std::string_view name) noexcept
{
    for (const BaseType& type : kBaseTypes)
        if (type.name == name)
            return &type;
    return nullptr;
}
} // namespace InterfaceModel
