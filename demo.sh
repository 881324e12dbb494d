#!/usr/bin/env bash
# Real speech through every codec of the library, and its echo through the cancellers: WAV files and report pages in out/, figures on the screen.
# Runs on a bare Debian 12 as root or with sudo; installs what it needs.
set -euo pipefail
cd "$(dirname "$0")"
. packaging/apt.sh
need "${build_packages[@]}" "${speech_packages[@]}"

echo "building"
log=build/demo.log
mkdir -p build out
if ! { cmake -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DQOLSC_BUILD_TESTS=OFF &&
       cmake --build build/demo --target qolsc; } >"$log" 2>&1; then
  tail -30 "$log" >&2
  exit 1
fi
qolsc=build/demo/qolsc

# Speech of the rate that a codec takes; the program converts the better one for rates beyond both.
speech_8000=/usr/share/asterisk/sounds/en_US_f_Allison/demo-congrats.wav
speech_16000=/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0870.wav
speech_of() { if [ "$1" -eq 8000 ]; then echo "$speech_8000"; else echo "$speech_16000"; fi; }

cp "$speech_8000" out/speech-8000.wav
cp "$speech_16000" out/speech-16000.wav
page=out/index.html
echo '<!DOCTYPE html><meta charset="utf-8"><title>Round trips</title><h1>Round trips</h1><ul>' >"$page"
printf '%-12s %9s %12s %12s %16s\n' codec kbit/s 'seg. SNR dB' 'distance dB' 'x real time'
while read -r codec rate _; do
  figures=$("$qolsc" roundtrip --codec "$codec" --resample --report "out/$codec.html" "$(speech_of "$rate")" "out/$codec.wav")
  figure() { sed -n "s/^$1  *\([0-9.-]*\).*/\1/p" <<<"$figures"; }
  printf '%-12s %9s %12s %12s %16s\n' "$codec" "$(figure 'bit rate')" "$(figure 'segmental SNR')" \
    "$(figure 'log-spectral distance')" "$(figure speed)"
  echo "<li><a href=\"$codec.html\">$codec</a>" >>"$page"
done < <("$qolsc" codecs | tail -n +2)
echo '</ul><h1>Echo cancellers</h1><p>Speech in a room of 60 ms with noise; a talker at the near end from 10 s on, and at
18 s the loudspeaker is moved.<ul>' >>"$page"

# A conference: one prompt comes from the loudspeaker, another is spoken at the microphone.
far=$speech_8000
talk=/usr/share/asterisk/sounds/en_US_f_Allison/vm-instructions.wav
"$qolsc" aec-scene --room 60 --noise -60 --talk "$talk" --talk-from 10 --change-at 18 "$far" out/aec-near.wav
printf '\n%-16s %s\n' canceller 'echo return loss enhancement'
for engine in subband subband-fixed subband-dt fullband; do
  figures=$("$qolsc" aec --engine "$engine" --report "out/aec-$engine.html" "$far" out/aec-near.wav "out/aec-$engine.wav")
  printf '%-16s %s\n' "$engine" "$(sed -n 's/^ERLE  *//p' <<<"$figures")"
  echo "<li><a href=\"aec-$engine.html\">$engine</a>" >>"$page"
done

# Speech in noise through the noise filter, quiet speech through the level control; both begin after 2 s.
scene() { "$qolsc" aec-scene --echo-level -90 --talk "$speech_8000" --talk-from 2 "$@"; }
silence=/usr/share/asterisk/sounds/en_US_f_Allison/silence/10.wav
scene --noise -40 "$silence" out/noisy.wav
"$qolsc" denoise --level 3 --report out/denoise.html out/noisy.wav out/denoised.wav
scene --talk-level -20 "$silence" out/quiet.wav
"$qolsc" alc --max-gain 20 --report out/alc.html out/quiet.wav out/levelled.wav
echo '</ul><h1>Noise and level</h1><ul><li><a href="denoise.html">noise filter</a>
<li><a href="alc.html">level control</a></ul>' >>"$page"
echo "listen: out/speech-*.wav (originals), out/*.wav (decoded), out/noisy.wav and denoised.wav, out/quiet.wav and" \
  "levelled.wav; look: $page"
