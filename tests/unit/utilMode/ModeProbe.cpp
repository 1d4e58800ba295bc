// Answers with the mode id that its own file name gives it; 99 for none.

#include "utilMode/FrwkMode.h"

int main() {
    const int mode = Frwk::Mode::GetModeId();
    return mode == -1 ? 99 : mode;
}
