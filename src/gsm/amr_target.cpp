// SPDX-License-Identifier: Apache-2.0
// Impulse response and target of a subframe. 3GPP TS 26.090 §5.4, §5.5.
#include "entry/checks.h"
#include "entry/entries.h"
#include "gsm/amr_rates.h"

#include <algorithm>

namespace qolsc {

using amr::kOrder;
using amr::kSubframe;

QolStatus qolsImpulseResponseTarget_GSMAMR_16s(const Qol16s* pSrcSpeech, const Qol16s* pWgtLpc1,
                                               const Qol16s* pWgtLpc2, const Qol16s* pLpc,
                                               Qol16s* pSynMem, Qol16s* pErrMem, Qol16s* pImpulse,
                                               Qol16s* pRes, Qol16s* pTarget) noexcept {
    if (anyNull(pSrcSpeech, pWgtLpc1, pWgtLpc2, pLpc, pSynMem, pErrMem, pImpulse, pRes, pTarget)) {
        return qolStsNullPtrErr;
    }
    constexpr Qol16s silence[kOrder] = {};
    Qol16s numerator[kSubframe] = {};
    std::copy_n(pWgtLpc1, kOrder + 1, numerator);
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(pLpc, numerator, pImpulse, kSubframe, 12, silence);
    qolsc::qolsSynthesisFilterLow_NR_16s_ISfs(pWgtLpc2, pImpulse, kSubframe, 12, silence);

    // The synthesis memory is the last error between speech and its synthesis: residual through
    // 1/A gives the error that the subframe would have, and the numerator has it as its history.
    qolsc::qolsResidualFilter_G729_16s(pSrcSpeech, pLpc, pRes);
    Qol16s error[kOrder + kSubframe];
    std::copy_n(pSynMem, kOrder, error);
    qolsc::qolsSynthesisFilter_NR_16s_Sfs(pLpc, pRes, error + kOrder, kSubframe, 12, pSynMem);
    qolsc::qolsResidualFilter_G729_16s(error + kOrder, pWgtLpc1, pTarget);
    qolsc::qolsSynthesisFilterLow_NR_16s_ISfs(pWgtLpc2, pTarget, kSubframe, 12, pErrMem);
    return qolStsNoErr;
}

} // namespace qolsc
