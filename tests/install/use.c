#include <qolsc.h>
#include <stdio.h>

int main(void) {
    Qol32s size = 0;
    if (qolsEncodeGetStateSize_G726_16s8u(&size) != qolStsNoErr || size != 88) {
        return 1;
    }
    puts(qolscGetLibVersion()->version);
    return qolsEncodeGetStateSize_G726_16s8u(NULL) == qolStsNullPtrErr ? 0 : 1;
}
