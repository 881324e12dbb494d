#include <qolsc.h>

#include <iostream>
#include <vector>

int main() {
    Qol32s size = 0;
    qolsDecodeGetStateSize_G726_8u16s(&size);
    std::vector<unsigned char> record(static_cast<std::size_t>(size));
    auto* state = reinterpret_cast<QolsDecodeState_G726*>(record.data());
    std::cout << qolscGetLibVersion()->version << '\n';
    return qolsDecodeInit_G726_8u16s(state, QOL_SPCHBR_32000, QOL_PCM_LINEAR) == qolStsNoErr ? 0
                                                                                             : 1;
}
