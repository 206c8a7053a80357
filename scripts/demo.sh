#!/usr/bin/env bash
# Installs what is needed, builds, and runs vellum on the bundled samples.
# Safe to run again: it only rebuilds what changed and writes nothing else.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh" "$root/build"
vellum=$root/build/src/cli/vellum

# Runs vellum with the printer "-" (standard output) and shows every byte the
# command would send to a printer. The "Printer:" line and any error go to
# standard error as usual.
show() {
  echo
  local line="\$ vellum -p -" word
  for word in "$@"; do
    case $word in
      *[!A-Za-z0-9./_+-]*) line+=" '$word'" ;;
      *) line+=" $word" ;;
    esac
  done
  echo "$line"
  local status=0
  "$vellum" -p - "$@" | od -An -c || status=$?
  echo "(exit status $status)"
}

echo "== vellum $("$vellum" --version 2>&1): TPCL sent by the printer commands"
show feedlabel
show feedlabel cut transmissive
show feedlabel strip withribbon reflective
show setfineadjustments 1.5 -2 0.3
show setport 9100
show setipv4 192.168.10.5/24 192.168.10.1 9100
show tpcl '{WS|}'
show tpcl '{XS;I,0001,0002C3000|}\n'
echo
echo "\$ printf '{C|}\\n' | vellum -p - rawtpcl"
printf '{C|}\n' | "$vellum" -p - rawtpcl | od -An -c
echo
echo "== Refused arguments: nothing is sent"
show feedlabel sideways
show setfineadjustments 0 0 10

echo
echo "== render: the bundled print jobs as TIFF previews of their labels"
mkdir -p "$root/out"
for job in "$root"/samples/*.prn; do
  tiff=$root/out/$(basename "$job" .prn).tif
  "$vellum" render -r 203 -o "$tiff" "$job"
  echo "\$ vellum render -r 203 -o out/$(basename "$tiff") samples/$(basename "$job")"
  echo "   wrote $tiff ($(stat -c %s "$tiff") bytes)"
done
