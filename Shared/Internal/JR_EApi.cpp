#include "Shared/Internal/JR_EApi.h"

namespace NorvikLibInternal {

EApiFunctions& GetEApiFunctions() {
    static EApiFunctions functions;
    return functions;
}

}  // namespace NorvikLibInternal
