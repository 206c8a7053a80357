#!/usr/bin/env bash
# Installs what is needed, builds, runs vellum on the bundled samples, then
# starts the virtual printer and prints to it. Safe to run again: it only
# rebuilds what changed in build/, writes its results into out/, and writes
# nothing else.
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

echo
echo "== vellum-image: a picture becomes a print job, and render shows its label"
"$root/build/src/imagetool/vellum-image" --width 60 --length 40 --gap 3 --copies 2 \
  -o "$root/out/picture.prn" "$root/samples/picture.png"
echo "\$ vellum-image --width 60 --length 40 --gap 3 --copies 2 -o out/picture.prn samples/picture.png"
echo "   wrote out/picture.prn ($(stat -c %s "$root/out/picture.prn") bytes):"
grep -a -o -E '^\{(D|C|XS)[^}]*\}|^\{SG;[0-9,]*' "$root/out/picture.prn" | sed 's/^/     /'
"$vellum" render -r 203 -o "$root/out/picture.tif" "$root/out/picture.prn"
echo "\$ vellum render -r 203 -o out/picture.tif out/picture.prn"
echo "   wrote out/picture.tif ($(stat -c %s "$root/out/picture.tif") bytes)"

echo
echo "== vellum-printer: a virtual printer on a free loopback port"
printer_dir=$root/out/printer
rm -rf "$printer_dir"
mkdir -p "$printer_dir"
"$root/build/src/vprinter/vellum-printer" --listen 127.0.0.1:0 --output "$printer_dir/labels" \
  --port-file "$printer_dir/port" >"$printer_dir/log" 2>&1 &
printer_pid=$!
trap 'kill "$printer_pid" 2>/dev/null || true' EXIT
for _ in $(seq 100); do [ -s "$printer_dir/port" ] && break; sleep 0.1; done
port=$(head -n 1 "$printer_dir/port")
echo "started: vellum-printer --listen 127.0.0.1:0 --output out/printer/labels (port $port)"
net() {
  echo "\$ vellum -n 127.0.0.1:$port $*"
  "$vellum" -n "127.0.0.1:$port" "$@" 2>/dev/null
}
net getstatus
echo 06 >"$printer_dir/labels/status"
echo "\$ echo 06 > out/printer/labels/status"
net getstatus
echo "\$ vellum -n 127.0.0.1:$port rawtpcl < samples/shipping_label.prn"
"$vellum" -n "127.0.0.1:$port" rawtpcl <"$root/samples/shipping_label.prn" 2>/dev/null
net feedlabel cut
net setfineadjustments 1.5 -2 0.3
net setipv4 192.168.10.5/24 192.168.10.1 9100
for _ in $(seq 100); do grep -q 'raw port set' "$printer_dir/log" && [ -e "$printer_dir/labels/label-000002.prn" ] && break; sleep 0.1; done
kill -TERM "$printer_pid"
wait "$printer_pid" || true
trap - EXIT
echo
echo "The printer's log (out/printer/log):"
sed 's/^[^ ]* /  /' "$printer_dir/log"
echo
echo "The files it wrote (out/printer/labels):"
ls -l "$printer_dir/labels" | tail -n +2 | awk '{print "  " $5 "\t" $9}'
echo
echo "Its state file:"
sed 's/^/  /' "$printer_dir/labels/printer-state.txt"
