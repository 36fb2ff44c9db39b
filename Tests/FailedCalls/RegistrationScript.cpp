#include "Tests/FailedCalls/Script.h"

#include <oleauto.h>

/// Ends as it begins: registered. The first step makes good what a fault in an earlier session has left.
void RunRegistrationScript(CRecorder& recorder, const Surroundings& surroundings)
{
    const CComponentLibrary& library = *surroundings.library;
    recorder.Step("class object", [&](std::ostream&) {
        CComPointer<IClassFactory> factory;
        return library.GetClassObject(CLSID_AVCommand, IID_IClassFactory, factory.putVoid());
    });
    recorder.Step("register", [&](std::ostream&) { return library.RegisterServer(); });
    recorder.Step("unregister", [&](std::ostream&) { return library.UnregisterServer(); });
    recorder.Step("register again", [&](std::ostream&) { return library.RegisterServer(); });
    recorder.Step("type library", [](std::ostream&) {
        constexpr LCID kEnglish = 0x409;
        CComPointer<ITypeLib> typeLibrary;
        return ::LoadRegTypeLib(LIBID_QUORVANELib, 1, 0, kEnglish, typeLibrary.put());
    });
    ScriptParts::CommandPointer command = ScriptParts::Create(recorder);
    recorder.Step("release", [&](std::ostream&) {
        command.reset();
        return S_OK;
    });
}
