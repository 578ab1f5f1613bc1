#include "Shared/JR_SBCControllerFactory.h"

#include <new>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "Shared/JR_CongatecIC170SBCController.h"
#include "Shared/JR_EmersonSBCController.h"
#include "Shared/JR_PortwellWade8132SBCController.h"
#include "Shared/JR_ShellApp.h"

namespace {

template <typename Controller>
JR_SBCController_IF* Create(const char* name) {
    Cmn_Trace("Creating %s SBC controller...\n", name);
    try {
        return new Controller;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

JR_SBCController_IF* JR_SBCControllerFactory::CreateSBCController() {
    if (!JR_ShellApp::IsWindowsEmbedded() || JR_ShellApp::GetSystemType() != eSystem_Console) return nullptr;
    switch (JR_ShellApp::GetMotherboard(nullptr)) {
        case eMB_EmersonMITXCore810:
            return Create<JR_EmersonSBCController>("Emerson MITX Core 810");
        case eMB_CongatecIC170:
            return Create<JR_CongatecIC170SBCController>("Congatec IC-170");
        case eMB_PortwellWade8132:
            return Create<JR_PortwellWade8132SBCController>("Portwell WADE-8132");
        default:
            CMN_VERIFY_AT(56, !"unsupported motherboard!");
            return nullptr;
    }
}
