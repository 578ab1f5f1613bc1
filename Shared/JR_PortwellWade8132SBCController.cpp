#include "Shared/JR_PortwellWade8132SBCController.h"

#include "Shared/Internal/JR_VendorLibrary.h"

JR_PortwellWade8132SBCController::JR_PortwellWade8132SBCController()
    : mLibrary(std::make_unique<NorvikLibInternal::VendorLibrary>("PETx64.dll")) {}

JR_PortwellWade8132SBCController::~JR_PortwellWade8132SBCController() = default;

void JR_PortwellWade8132SBCController::SetBacklightBrightness(unsigned int) {}

unsigned int JR_PortwellWade8132SBCController::GetChipsetTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_PortwellWade8132SBCController::GetCPUTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_PortwellWade8132SBCController::GetMemoryTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_PortwellWade8132SBCController::GetSystemTemp() const {
    return cInvalidTemperature;
}

unsigned int JR_PortwellWade8132SBCController::LookupTKVBrightness(unsigned int percent) const {
    return percent;
}
