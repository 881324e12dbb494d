// SPDX-License-Identifier: Apache-2.0
// G.722 quadrature mirror filters (ITU-T G.722 clauses 3.1 and 4.4).
#include "entry/entries.h"
#include "tables/g722.h"
#include "waveform/g722qmf.h"

namespace qolsc {

QolStatus qolsQMFEncode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                 Qol16s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len % 2 != 0) {
        return qolStsSizeErr;
    }
    g722::qmfEncode(pSrc, pDst, len, pMem);
    return qolStsNoErr;
}

QolStatus qolsQMFDecode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                 Qol16s* pMem) noexcept {
    if (anyNull(pSrc, pDst, pMem)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len % 2 != 0) {
        return qolStsSizeErr;
    }
    g722::qmfDecode(pSrc, pDst, len, pMem);
    return qolStsNoErr;
}

} // namespace qolsc
