// The least that a program does with the library.
#include "JRCmn/Cmn_Trace.h"

int main() {
    Cmn_Trace("One line.\n");
}
