#pragma once

#include "Win32/ComPointer.h"

#include <windows.h>

#include <Quorvane.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

class CComponentLibrary;

/// Drives objects of the component by lines of text, so that a script of another system can be the application:
/// OBJECT <tab> CALL <tab> ARGUMENTS in, one JSON object with the call's HRESULT, duration and results out.
/// Owns the objects, each under the name that its first line gave it, all on the thread that calls Answer.
/// A line without the arguments of its call throws std::exception: the script is at fault.
class CInteropClient
{
public:
    explicit CInteropClient(const CComponentLibrary& library);
    ~CInteropClient();

    std::string Answer(std::string_view line);

private:
    using Arguments = std::vector<std::string>;

    HRESULT Run(const std::string& object, const std::string& call, const Arguments& arguments);
    HRESULT Open(IAVCommand5& camera, const Arguments& arguments);
    HRESULT GetSize(IAVCommand5& camera);
    HRESULT GetH264(IAVCommand5& camera);
    HRESULT Setup(IAVCommand5& camera, const Arguments& arguments);
    void Tell(std::string_view name, long value);
    void Tell(std::string_view name, std::string_view text);

    CComPointer<IClassFactory> m_factory;
    std::map<std::string, CComPointer<IAVCommand5>> m_objects;
    std::string m_facts;
};
