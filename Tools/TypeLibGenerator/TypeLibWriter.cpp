#include "TypeLibWriter.h"

#include "RecordLayout.h"
#include "Win32/ComMemory.h"
#include "Win32/ComPointer.h"

#include <windows.h>

#include <oleauto.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

using namespace InterfaceModel;

namespace
{
void Check(HRESULT result, const std::string& step)
{
    if (SUCCEEDED(result))
        return;
    char code[16] = {};
    std::snprintf(code, sizeof(code), "0x%08lX", static_cast<unsigned long>(result));
    throw std::runtime_error(step + ": " + code);
}

/// Descriptions are ASCII.
std::wstring Wide(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

GUID ToGuid(const std::string& uuid)
{
    GUID guid{};
    Check(::CLSIDFromString(Wide("{" + uuid + "}").c_str(), &guid), "GUID " + uuid);
    return guid;
}

/// Type descriptions with the memory that the pointer levels need. The library copies them, so they live only as long
/// as the call that passes them.
class CTypeDescriptions
{
public:
    TYPEDESC Make(VARTYPE type, HREFTYPE reference, unsigned pointerDepth)
    {
        TYPEDESC description{};
        description.vt = type;
        description.hreftype = reference;
        for (; pointerDepth > 0; --pointerDepth)
        {
            m_pointees.push_back(description);
            description = {};
            description.vt = VT_PTR;
            description.lptdesc = &m_pointees.back();
        }
        return description;
    }

private:
    std::deque<TYPEDESC> m_pointees; // addresses stay valid while it grows
};

class CTypeLibWriter
{
public:
    explicit CTypeLibWriter(const Description& description) : m_description(description) {}

    void Write(const std::filesystem::path& path)
    {
        CreateLibrary(path);
        // First all entries, which fixes their order, then their contents, which refer to one another.
        for (const LibraryEntry& entry : m_description.library.entries)
            CreateType(entry);
        for (const LibraryEntry& entry : m_description.library.entries)
            FillType(entry);
        LayOutTypes();
        Check(m_library->SaveAllChanges(), "saving " + path.string());
    }

private:
    void LayOutTypes()
    {
        // A base comes before what derives from it, as in the description: an interface's first slot is known only
        // when its base has been laid out.
        for (const Interface& type : m_description.interfaces)
            Check(Type(type.name)->LayOut(), "laying out " + type.name);
        for (const LibraryEntry& entry : m_description.library.entries)
            if (entry.kind != TypeKind::Interface)
                Check(Type(entry.name)->LayOut(), "laying out " + entry.name);
    }

    void CreateLibrary(const std::filesystem::path& path)
    {
        const Library& library = m_description.library;
        const GUID guid = ToGuid(library.uuid);
        std::wstring helpString = Wide(library.helpString);
        std::wstring name = Wide(library.name);
        Check(::CreateTypeLib2(SYS_WIN32, path.wstring().c_str(), m_library.put()), "creating " + path.string());
        Check(m_library->SetName(name.data()), "naming the library");
        Check(m_library->SetGuid(guid), "the library's GUID");
        Check(m_library->SetVersion(library.majorVersion, library.minorVersion), "the library's version");
        Check(m_library->SetLcid(library.localeId), "the library's locale");
        Check(m_library->SetDocString(helpString.data()), "the library's help string");
        Check(::LoadTypeLib(Wide(library.imported).c_str(), m_imported.put()), "loading " + library.imported);
    }

    void CreateType(const LibraryEntry& entry)
    {
        static constexpr TYPEKIND kKinds[] = {TKIND_COCLASS, TKIND_INTERFACE, TKIND_ENUM, TKIND_RECORD};
        std::wstring name = Wide(entry.name);
        Check(m_library->CreateTypeInfo(name.data(), kKinds[static_cast<int>(entry.kind)], m_types[entry.name].put()),
              "creating " + entry.name);
    }

    ICreateTypeInfo* Type(const std::string& name) const
    {
        const auto found = m_types.find(name);
        if (found == m_types.end())
            throw std::runtime_error(name + " is used, but the library block does not list it");
        return found->second.get();
    }

    void FillType(const LibraryEntry& entry)
    {
        switch (entry.kind)
        {
        case TypeKind::CoClass:
            return FillCoClass(*FindByName(m_description.coClasses, entry.name));
        case TypeKind::Interface:
            return FillInterface(*FindByName(m_description.interfaces, entry.name));
        case TypeKind::Enumeration:
            return FillEnumeration(*FindByName(m_description.enumerations, entry.name));
        case TypeKind::Record:
            return FillRecord(*FindByName(m_description.records, entry.name));
        }
    }

    void FillHead(ICreateTypeInfo& type, const std::string& uuid, const std::string& helpString, UINT flags)
    {
        const GUID guid = ToGuid(uuid);
        std::wstring text = Wide(helpString);
        Check(type.SetGuid(guid), "GUID " + uuid);
        Check(type.SetDocString(text.data()), "help string of " + uuid);
        Check(type.SetTypeFlags(flags), "flags of " + uuid);
    }

    HREFTYPE Refer(ICreateTypeInfo& from, ITypeInfo& to) const
    {
        HREFTYPE reference = 0;
        Check(from.AddRefTypeInfo(&to, &reference), "referring to a type");
        return reference;
    }

    HREFTYPE Refer(ICreateTypeInfo& from, const std::string& name) const
    {
        CComPointer<ITypeInfo> to;
        Check(Type(name)->QueryInterface(IID_ITypeInfo, to.putVoid()), "reading " + name);
        return Refer(from, *to.get());
    }

    void FillCoClass(const CoClass& coClass)
    {
        ICreateTypeInfo& type = *Type(coClass.name);
        FillHead(type, coClass.uuid, coClass.helpString, TYPEFLAG_FCANCREATE);
        Check(type.AddImplType(0, Refer(type, coClass.defaultInterface)), "interface of " + coClass.name);
        Check(type.SetImplTypeFlags(0, IMPLTYPEFLAG_FDEFAULT), "default interface of " + coClass.name);
    }

    void FillInterface(const Interface& interfaceType)
    {
        ICreateTypeInfo& type = *Type(interfaceType.name);
        FillHead(type, interfaceType.uuid, interfaceType.helpString, 0);
        HREFTYPE base = 0;
        if (interfaceType.base == "IUnknown")
        {
            CComPointer<ITypeInfo> unknown;
            Check(m_imported->GetTypeInfoOfGuid(IID_IUnknown, unknown.put()), "importing IUnknown");
            base = Refer(type, *unknown.get());
        }
        else
            base = Refer(type, interfaceType.base);
        Check(type.AddImplType(0, base), "base of " + interfaceType.name);
        // Member ids of custom interfaces: 0x6000 and the depth of derivation below IUnknown, then the index.
        const MEMBERID firstId = 0x60000000 + (Depth(interfaceType) << 16);
        for (UINT i = 0; i < interfaceType.methods.size(); ++i)
            AddMethod(type, interfaceType.methods[i], i, firstId + static_cast<MEMBERID>(i));
    }

    MEMBERID Depth(const Interface& interfaceType) const
    {
        const Interface* base = FindByName(m_description.interfaces, interfaceType.base);
        return base == nullptr ? 1 : Depth(*base) + 1;
    }

    TYPEDESC MakeType(CTypeDescriptions& descriptions, ICreateTypeInfo& owner, const TypeReference& type) const
    {
        const BaseType* base = FindBaseType(type.name);
        return base != nullptr ? descriptions.Make(base->variantType, 0, type.pointerDepth)
                               : descriptions.Make(VT_USERDEFINED, Refer(owner, type.name), type.pointerDepth);
    }

    void AddMethod(ICreateTypeInfo& type, const Method& method, UINT index, MEMBERID id)
    {
        CTypeDescriptions descriptions;
        std::vector<ELEMDESC> parameters;
        std::vector<std::wstring> names{Wide(method.name)};
        for (const Parameter& parameter : method.parameters)
        {
            ELEMDESC element{};
            element.tdesc = MakeType(descriptions, type, parameter.type);
            element.paramdesc.wParamFlags =
                static_cast<USHORT>((parameter.isIn ? PARAMFLAG_FIN : 0) | (parameter.isOut ? PARAMFLAG_FOUT : 0));
            parameters.push_back(element);
            names.push_back(Wide(parameter.name));
        }
        FUNCDESC function{};
        function.memid = id;
        function.lprgelemdescParam = parameters.data();
        function.cParams = static_cast<SHORT>(parameters.size());
        function.funckind = FUNC_PUREVIRTUAL;
        function.invkind = INVOKE_FUNC;
        function.callconv = CC_STDCALL;
        function.elemdescFunc.tdesc.vt = VT_HRESULT;
        Check(type.AddFuncDesc(index, &function), "adding " + method.name);
        std::vector<LPOLESTR> namePointers;
        for (std::wstring& name : names)
            namePointers.push_back(name.data());
        Check(type.SetFuncAndParamNames(index, namePointers.data(), static_cast<UINT>(namePointers.size())),
              "naming " + method.name);
    }

    void AddVariable(ICreateTypeInfo& type, UINT index, VARDESC& variable, const std::string& name)
    {
        std::wstring wideName = Wide(name);
        variable.memid = 0x40000000 + static_cast<MEMBERID>(index);
        Check(type.AddVarDesc(index, &variable), "adding " + name);
        Check(type.SetVarName(index, wideName.data()), "naming " + name);
    }

    void FillEnumeration(const Enumeration& enumeration)
    {
        ICreateTypeInfo& type = *Type(enumeration.name);
        for (UINT i = 0; i < enumeration.enumerators.size(); ++i)
        {
            VARIANT value{};
            value.vt = VT_I4;
            value.lVal = enumeration.enumerators[i].value;
            VARDESC variable{};
            variable.varkind = VAR_CONST;
            variable.lpvarValue = &value;
            variable.elemdescVar.tdesc.vt = VT_I4;
            AddVariable(type, i, variable, enumeration.enumerators[i].name);
        }
    }

    void FillRecord(const Record& record)
    {
        ICreateTypeInfo& type = *Type(record.name);
        const RecordLayout layout = LayOutRecord(record);
        Check(type.SetAlignment(layout.alignmentBytes), "alignment of " + record.name);
        for (UINT i = 0; i < record.fields.size(); ++i)
        {
            CTypeDescriptions descriptions;
            VARDESC variable{};
            variable.varkind = VAR_PERINSTANCE;
            variable.oInst = layout.fieldOffsets[i];
            variable.elemdescVar.tdesc = MakeType(descriptions, type, record.fields[i].type);
            AddVariable(type, i, variable, record.fields[i].name);
        }
    }

    const Description& m_description;
    CComPointer<ICreateTypeLib2> m_library;
    CComPointer<ITypeLib> m_imported;
    std::map<std::string, CComPointer<ICreateTypeInfo>> m_types;
};
} // namespace

void TypeLibWriter::Write(const Description& description, const std::filesystem::path& path)
{
    CTypeLibWriter(description).Write(path);
}
