# SPDX-License-Identifier: Apache-2.0
"""The Python binding against the recommendation's G.726 sequence, and its errors."""
import array
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bindings/python"))
import qolsc  # noqa: E402

DATA = ROOT / "tests/data/waveform/sequences/g726"


def words(name):
    return array.array("h", (DATA / name).read_bytes())


class Binding(unittest.TestCase):
    def test_version(self):
        self.assertEqual((qolsc.version().major, qolsc.version().minor), (8, 2))

    def test_decodes_a_sequence(self):
        size = qolsc.out("32s")
        qolsc.qolsDecodeGetStateSize_G726_8u16s(size)
        state = qolsc.block(size[0])
        qolsc.qolsDecodeInit_G726_8u16s(state, 23, 0)
        codes = bytes(words("rn32fm.i"))[::2]
        pcm = array.array("h", bytes(2 * len(codes)))
        self.assertEqual(qolsc.qolsDecode_G726_8u16s(state, codes, pcm, len(codes)), 0)
        self.assertEqual(pcm, words("rn32fm.o"))

    def test_refusals_raise(self):
        with self.assertRaises(qolsc.Error) as refused:
            qolsc.qolsEncodeInit_G726_16s8u(None, 23)
        self.assertEqual(refused.exception.status, -8)
        with self.assertRaises(TypeError):
            qolsc.qolsEncodeInit_G726_16s8u(None)


if __name__ == "__main__":
    unittest.main()
