#!/usr/bin/env bash
# Usage: recorded_calls.sh PROGRAM LIBRARY. Each call of the program that can reach a file, a device or a shell must be one
# that the recorder's library replaces, or one that does not matter to a recording.
set -euo pipefail
export LC_ALL=C
symbols() { readelf -W --dyn-syms "$1" | awk -v place="$2" '$7 ~ place { sub(/@.*/, "", $8); print $8 }' | sort -u; }
made=$(symbols "$1" '^UND$')
replaced=$(symbols "$2" '^[0-9]+$')
calls='^(__)?(f|fd|fre|p)?open(at|dir)?(64)?(_2)?$|^creat|^(__)?(p|f)?(read|write)v?(64)?(_chk)?$|^(__)?ioctl|^(__)?p?poll|select$|^tc|'
calls+='^fclose$|^close$|^(f|eu)?access|^(__x)?[fl]?stat|system$|spawn|^exec|^v?fork$|^mmap|sendfile|splice|copy_file_range'
# fdopen, fclose and fwrite: a stream on a device or file is only written or scanned by code that no command uses. stat and
# opendir: the same. fstat and tcgetattr: show nothing that differs at a desk. tcflush: drops what nobody reads.
harmless='^(fdopen|fclose|fwrite|fread|stat|stat64|fstat|fstat64|opendir|tcgetattr|tcflush|mmap|mmap64)$'
missing=$(grep -E "$calls" <<<"$made" | grep -vE "$harmless" | grep -vxF "$replaced" || true)
[[ $(grep -cE "$calls" <<<"$made") -ge 10 ]] || { echo "$1 seems to make no calls" >&2; exit 1; }
[[ -z $missing ]] || { echo "the recorder does not know: ${missing//$'\n'/ }" >&2; exit 1; }
