#!/usr/bin/env bash
# The shared libraries from outside: symbols, needed libraries, relocations, instructions, shape of an export.
# usage: binary.sh LIBQOLSCE9 LIBQOLCORE ENTRIES_DEF
set -euo pipefail
export LC_ALL=C
library=$1 core=$2 entries=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
wrong() { echo "FAILED: $*"; status=1; }

# Dynamic symbols: the exports, their cells, the flag, nothing else.
sed -n 's/^QOLSC_ENTRY(\([A-Za-z0-9_]*\)).*/\1/p' "$entries" | sort >"$work/exports"
{ cat "$work/exports"; sed 's/$/_arraddr/' "$work/exports"; echo qolJumpIndexForMergedDLL; } | sort >"$work/due"
nm -D --defined-only "$library" | awk '{ print $3 }' | sort >"$work/found"
diff "$work/due" "$work/found" >"$work/diff" || { cat "$work/diff"; wrong "dynamic symbols (< due, > found)"; }

for file in "$library" "$core"; do
  name=$(basename "$file")
  readelf -dW "$file" >"$work/dynamic"
  needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic")
  for one in $needed; do
    case $one in
      libc.so.6 | libm.so.6 | libgomp.so.1 | libqolcore.so.8.2) ;;
      *) wrong "$name needs $one" ;;
    esac
  done
  grep -q TEXTREL "$work/dynamic" && wrong "$name has text relocations"
  grep -q 'BIND_NOW\|FLAGS.*NOW' "$work/dynamic" || wrong "$name binds lazily"
  readelf -lW "$file" | grep -q GNU_RELRO || wrong "$name has no RELRO segment"
  readelf -lW "$file" | grep 'GNU_STACK' | grep -q 'RWE' && wrong "$name has an executable stack"
  grep -q "SONAME.*$(sed 's/\..*//' <<<"$name").so.8.2" "$work/dynamic" || wrong "$name: SONAME"

  # Before main runs the compiler's own start and, in libqolsce9, the initialiser that sets the flag: two addresses.
  starts=$(size -A -d "$file" | awk '$1 == ".init_array" { print $2 / 8 }')
  [ "${starts:-0}" -le 2 ] || wrong "$name has $starts initialisers that run at load time"

  # AVX is the ceiling: no fused multiply-add, no AVX-512, none of what came with AVX2 and BMI. Of the
  # integer instructions only moves between registers and memory have a 256-bit form in AVX. (What is shown as tzcnt is
  # the compiler's `rep bsf` for counts of values that aren't 0: the same on processors without BMI.)
  objdump -d --no-show-raw-insn "$file" | sed -n 's/^ *[0-9a-f]*:\t//p' >"$work/code"
  grep -E '^vfn?m(add|sub)|%zmm|%k[0-7]|^v(pgather|gather|perm[dq]|permp[sd].*\$.*ymm|psllv|psrlv|psrav|pmaskmov|pbroadcast|inserti|extracti|pblendd|broadcasti)|^(andn|bextr|bls|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx|lzcnt)' \
    "$work/code" | sort | uniq -c | sort -rn >"$work/beyond" || true
  grep -E '%ymm' "$work/code" | grep -E '^vp' | grep -vE '^v(ptest|permil|perm2f128)' >>"$work/beyond" || true
  [ -s "$work/beyond" ] && { head -5 "$work/beyond"; wrong "$name has instructions above AVX"; }
done

# An export is one indirect jump through its cell.
objdump -d --no-show-raw-insn "$library" |
  awk '/^[0-9a-f]+ <.*>:$/ { name = substr($2, 2, length($2) - 3); getline; sub(/^[^\t]*\t/, ""); print name "\t" $0 }' |
  sort >"$work/first"
while read -r name; do
  body=$(awk -F '\t' -v name="$name" '$1 == name { print $2 }' "$work/first")
  grep -Eq '^jmp +\*0x[0-9a-f]+\(%rip\)' <<<"$body" || wrong "$name begins with: $body"
done <"$work/exports"

# No table may lie in writable memory: what is writable is cells, the flag and the linker's own.
writable=$(size -A -d "$library" | awk '$1 == ".data" || $1 == ".bss" { total += $2 } END { print total + 0 }')
limit=$(($(wc -l <"$work/exports") * 8 + 256))
[ "$writable" -le "$limit" ] || wrong "$writable octets are writable, cells take at most $limit"
exit $status
