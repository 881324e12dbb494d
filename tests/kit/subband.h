// SPDX-License-Identifier: Apache-2.0
// The sub-band exports of the echo canceller in either arithmetic, for code that runs both.
#pragma once

#include "qolsc/echo.h"

namespace qolsc::test {

struct SubbandFloat {
    using Number = Qol32fc;
    using Sample = Qol32f;
    using Step = Qol64f;
    using Gain = Qol32f;
    using Bank = QolsSubbandProcessState_32f;
    using Controller = QolsSubbandControllerState_EC_32f;
    static constexpr auto bankSize = qolsSubbandProcessGetSize_32f;
    static constexpr auto bankInit = qolsSubbandProcessInit_32f;
    static constexpr auto controllerSize = qolsSubbandControllerGetSize_EC_32f;
    static constexpr auto controllerInit = qolsSubbandControllerInit_EC_32f;
    static constexpr auto steps = qolsSubbandControllerUpdate_EC_32f;
    static constexpr auto control = qolsSubbandController_EC_32f;
    static constexpr auto analysis = qolsSubbandAnalysis_32f32fc;
    static constexpr auto synthesis = qolsSubbandSynthesis_32fc32f;
    static constexpr auto filter = qolsFIRSubband_EC_32fc;
    static constexpr auto update = qolsFIRSubbandCoeffUpdate_EC_32fc_I;
};
struct SubbandFixed {
    using Number = Qol32sc;
    using Sample = Qol16s;
    using Step = QolStepSize_EC;
    using Gain = Qol16s;
    using Bank = QolsSubbandProcessState_16s;
    using Controller = QolsSubbandControllerState_EC_16s;
    static constexpr int kCoefQ = 18;
    static constexpr auto bankSize = qolsSubbandProcessGetSize_16s;
    static constexpr auto bankInit = qolsSubbandProcessInit_16s;
    static constexpr auto controllerSize = qolsSubbandControllerGetSize_EC_16s;
    static constexpr auto controllerInit = qolsSubbandControllerInit_EC_16s;
    static constexpr auto steps = qolsSubbandControllerUpdate_EC_16s;
    static constexpr auto control = qolsSubbandController_EC_16s;
    static QolStatus analysis(const Qol16s* x, Qol32sc* z, Bank* s, Qol8u* b) {
        return qolsSubbandAnalysis_16s32sc_Sfs(x, z, s, 0, b);
    }
    static QolStatus synthesis(const Qol32sc* z, Qol16s* x, Bank* s, Qol8u* b) {
        return qolsSubbandSynthesis_32sc16s_Sfs(z, x, s, 0, b);
    }
    static QolStatus filter(const Qol32sc** x, const Qol32sc** c, Qol32sc* y, int taps, int bands) {
        return qolsFIRSubband_EC_32sc_Sfs(x, c, y, taps, bands, kCoefQ);
    }
    static QolStatus update(const QolStepSize_EC* s, const Qol32sc** x, const Qol32sc* e,
                            Qol32sc** c, int taps, int bands) {
        return qolsFIRSubbandCoeffUpdate_EC_32sc_I(s, x, e, c, taps, bands, kCoefQ);
    }
};

} // namespace qolsc::test
