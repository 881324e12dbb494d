// SPDX-License-Identifier: Apache-2.0
// G.722 sub-band ADPCM: records, coder, decoder, resynchronisation after concealment (ITU-T G.722
// clauses 3 and 4, Appendix IV).
#include "entry/entries.h"
#include "waveform/g722pair.h"

namespace qolsc {

namespace {

QolStatus initState(QolsSBADPCMState_G722* pState) {
    if (anyNull(pState)) {
        return qolStsNullPtrErr;
    }
    QolsSBADPCMState_G722 reset{};
    reset.detl = 32;
    reset.deth = 8;
    g722Record(pState) = reset;
    return qolStsNoErr;
}

template <auto Step>
void run(const Qol16s* pSrc, Qol16s* pDst, int len, QolsSBADPCMState_G722& state) {
    g722::Pair pair = g722::pairOf(state);
    for (int i = 0; i < len; i += 2) {
        Step(pair, pSrc + i, pDst + i);
    }
    g722::storePair(pair, state);
}

/// The overload of the fast form, to be named as a template argument.
void encodeStep(g722::Pair& pair, const Qol16s* pSrc, Qol16s* pDst) {
    g722::encodePair(pair, pSrc, pDst);
}
template <g722::LowBits N>
void decodeStep(g722::Pair& pair, const Qol16s* pSrc, Qol16s* pDst) {
    g722::decodePair<N>(pair, pSrc, pDst);
}

} // namespace

QolStatus qolsSBADPCMEncodeStateSize_G722_16s(Qol32s* pSize) noexcept {
    return giveSize(kG722StateBytes, pSize);
}

QolStatus qolsSBADPCMDecodeStateSize_G722_16s(Qol32s* pSize) noexcept {
    return giveSize(kG722StateBytes, pSize);
}

QolStatus qolsSBADPCMEncodeInit_G722_16s(QolsSBADPCMState_G722* pState) noexcept {
    return initState(pState);
}

QolStatus qolsSBADPCMDecodeInit_G722_16s(QolsSBADPCMState_G722* pState) noexcept {
    return initState(pState);
}

QolStatus qolsSBADPCMEncode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len,
                                     QolsSBADPCMState_G722* pState) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len % 2 != 0) {
        return qolStsSizeErr;
    }
    run<encodeStep>(pSrc, pDst, len, g722Record(pState));
    return qolStsNoErr;
}

QolStatus qolsSBADPCMDecode_G722_16s(const Qol16s* pSrc, Qol16s* pDst, Qol32s len, Qol16s mode,
                                     QolsSBADPCMState_G722* pState) noexcept {
    if (anyNull(pSrc, pDst, pState)) {
        return qolStsNullPtrErr;
    }
    if (len < 1 || len % 2 != 0) {
        return qolStsSizeErr;
    }
    QolsSBADPCMState_G722& state = g722Record(pState);
    switch (mode) {
    case 1:
        run<decodeStep<g722::LowBits::six>>(pSrc, pDst, len, state);
        break;
    case 2:
        run<decodeStep<g722::LowBits::five>>(pSrc, pDst, len, state);
        break;
    default:
        run<decodeStep<g722::LowBits::four>>(pSrc, pDst, len, state);
    }
    return qolStsNoErr;
}

QolStatus qolsSBADPCMDecodeStateUpdate_G722_16s(const Qol16s* pRecon, Qol16s sl, Qol32s resetFlag,
                                                QolsSBADPCMState_G722* pState) noexcept {
    if (anyNull(pRecon, pState)) {
        return qolStsNullPtrErr;
    }
    QolsSBADPCMState_G722& s = g722Record(pState);
    for (int i = 0; i < 6; ++i) {
        s.dltDelay[i] = s.dhDelay[i] = 0;
    }
    s.dlt = 0;
    s.plt1 = static_cast<Qol16s>(pRecon[1] >> 1);
    s.plt2 = static_cast<Qol16s>(pRecon[0] >> 1);
    s.rlt1 = pRecon[1];
    s.rlt2 = pRecon[0];
    s.sl = sl;
    s.szl = static_cast<Qol16s>(sl >> 1);

    // The scale factor that belongs to half the logarithm.
    const unsigned index = static_cast<unsigned>(s.nbh >> 7) & 0x1FF;
    const auto halved = static_cast<Qol16s>(s.nbh >> 1);
    if (index >= tables::table_ila.size()) {
        s.nbh = halved;
        return qolStsOutOfRangeErr;
    }
    if (resetFlag != 0) {
        s.detl = 32;
        s.deth = 8;
        s.nbl = s.nbh = 0;
    } else {
        s.deth = static_cast<Qol16s>(tables::table_ila[index] * 4 + 4);
        s.nbh = halved;
    }
    return qolStsNoErr;
}

} // namespace qolsc
