#include "HeaderWriter.h"

#include <cctype>
#include <string_view>

using namespace InterfaceModel;

namespace
{
constexpr std::size_t kMaxColumns = 120;

std::string GeneratedFrom(const std::string& sourceName)
{
    return "// Generated from " + sourceName + "; change that file, not this one.\n";
}

void AppendComment(std::string& out, const std::vector<std::string>& comment, std::string_view indent)
{
    for (const std::string& line : comment)
        out.append(indent).append(line.empty() ? "///" : "/// ").append(line).append("\n");
}

std::string HeaderType(const TypeReference& type)
{
    const BaseType* base = FindBaseType(type.name);
    std::string text = base != nullptr ? std::string(base->headerName) : type.name;
    return text.append(type.pointerDepth, '*');
}

std::string HeaderParameter(const Parameter& parameter)
{
    std::string text;
    if (parameter.isIn || parameter.isOut)
        text = parameter.isIn && parameter.isOut ? "/* [in, out] */ " : parameter.isIn ? "/* [in] */ " : "/* [out] */ ";
    return text + HeaderType(parameter.type) + " " + parameter.name;
}

void AppendMethod(std::string& out, const Method& method)
{
    AppendComment(out, method.comment, "    ");
    std::string line = "    virtual HRESULT STDMETHODCALLTYPE " + method.name + "(";
    const std::string continuation(line.size(), ' ');
    for (std::size_t i = 0; i < method.parameters.size(); ++i)
    {
        const bool isLast = i + 1 == method.parameters.size();
        const std::string text = HeaderParameter(method.parameters[i]) + (isLast ? "" : ",");
        if (line.size() + text.size() + 6 > kMaxColumns)
        {
            out.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
            line = continuation;
        }
        line += text + (isLast ? "" : " ");
    }
    out += line + ") = 0;\n";
}

/// "D2613B40-2570-..." as the initialiser of a GUID.
std::string GuidInitialiser(std::string_view uuid)
{
    const auto hex = [&](std::size_t from, std::size_t count) { return "0x" + std::string(uuid.substr(from, count)); };
    std::string text = hex(0, 8) + ", " + hex(9, 4) + ", " + hex(14, 4);
    for (const std::size_t from : {19u, 21u, 24u, 26u, 28u, 30u, 32u, 34u})
        text += ", " + hex(from, 2);
    return text;
}

void AppendInterface(std::string& out, const Interface& type)
{
    AppendComment(out, type.comment, "");
    out += "MIDL_INTERFACE(\"" + type.uuid + "\")\n" + type.name + " : public " + type.base + "\n{\npublic:\n";
    for (const Method& method : type.methods)
        AppendMethod(out, method);
    out += "};\n#ifdef __CRT_UUID_DECL\n__CRT_UUID_DECL(" + type.name + ", " + GuidInitialiser(type.uuid) +
           ")\n#endif\n\n";
}

/// Every GUID of the description with the prefix that its kind has by custom.
template <class Function>
void ForEachGuid(const Description& description, Function function)
{
    function("LIBID_" + description.library.name, description.library.uuid);
    for (const CoClass& type : description.coClasses)
        function("CLSID_" + type.name, type.uuid);
    for (const Interface& type : description.interfaces)
        function("IID_" + type.name, type.uuid);
}
} // namespace

namespace HeaderWriter
{
std::string WriteHeader(const Description& description, const std::string& sourceName)
{
    std::string out = GeneratedFrom(sourceName);
    out += "// For C++ clients; link the GUIDs with the source file generated beside it.\n"
           "#pragma once\n\n#include <windows.h>\n\n#include <oleauto.h>\n#include <unknwn.h>\n\n";
    for (const Enumeration& type : description.enumerations)
    {
        AppendComment(out, type.comment, "");
        out += "enum " + type.name + " : int\n{\n";
        for (const Enumerator& enumerator : type.enumerators)
            out += "    " + enumerator.name + " = " + std::to_string(enumerator.value) + ",\n";
        out += "};\n\n";
    }
    for (const Record& type : description.records)
    {
        AppendComment(out, type.comment, "");
        out += "struct " + type.name + "\n{\n";
        for (const Field& field : type.fields)
            out += "    " + HeaderType(field.type) + " " + field.name + ";\n";
        out += "};\n\n";
    }
    for (const Interface& type : description.interfaces)
        AppendInterface(out, type);
    out += "extern \"C\"\n{\n";
    ForEachGuid(description, [&](const std::string& name, const std::string& uuid) {
        out += "extern const GUID " + name + "; // {" + uuid + "}\n";
    });
    return out + "}\n";
}

std::string WriteGuidSource(const Description& description, const std::string& sourceName,
                            const std::string& headerName)
{
    std::string out = GeneratedFrom(sourceName);
    out += "// The GUIDs that " + headerName +
           " declares. Compiles as C and as C++.\n#include <guiddef.h>\n\n"
           "#ifdef __cplusplus\n#define QUORVANE_GUID extern \"C\" const GUID\n#else\n"
           "#define QUORVANE_GUID const GUID\n#endif\n\n";
    ForEachGuid(description, [&](const std::string& name, const std::string& uuid) {
        const std::string initialiser = GuidInitialiser(uuid);
        const std::size_t third = initialiser.find(", 0x", initialiser.find(", 0x", initialiser.find(", 0x") + 1) + 1);
        out += "QUORVANE_GUID " + name + " = {" + initialiser.substr(0, third) + ", {" + initialiser.substr(third + 2) +
               "}};\n";
    });
    return out;
}
} // namespace HeaderWriter
