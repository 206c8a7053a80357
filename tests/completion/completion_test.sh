#!/usr/bin/env bash
# Runs the vellum completion function on typed command lines, the way bash
# calls it on <Tab>, and compares the candidates it offers.
# Usage: completion_test.sh path/to/completion/vellum "command names"
# The names are those of the binary's command table, from its one list.
set -u
completion=$(realpath "$1")
commands=$(printf '%s\n' $2 | LC_ALL=C sort | xargs)
[[ -n $commands ]] || { echo "no command names given" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# lpstat stands in for the CUPS client here: the queue names are what a real
# `lpstat -e` prints, one per line, and the test needs no running cupsd.
mkdir -p "$work/bin" "$work/files/jobs"
printf '#!/bin/sh\n[ "$1" = -e ] && printf "Office_TEC\\nWarehouse\\nWarehouse_B\\n"\n' >"$work/bin/lpstat"
chmod +x "$work/bin/lpstat"
touch "$work/files/label.tpcl" "$work/files/logo.tpcl" "$work/files/notes.txt"
PATH=$work/bin:$PATH
cd "$work/files" || exit 1

# shellcheck source=/dev/null
source "$completion"

# Splits LINE as bash does for completion (blanks, and the ':' of
# COMP_WORDBREAKS), sets COMP_* with the cursor at the end, runs the function
# and prints the sorted candidates on one line.
complete_line()
{
    local line=$1
    COMP_LINE=$line
    COMP_POINT=${#line}
    local spaced=${line//:/ : }
    read -ra COMP_WORDS <<<"$spaced"
    [[ $line == *[[:space:]] || $line == *: ]] && COMP_WORDS+=("")
    [[ $line == *: ]] && unset 'COMP_WORDS[${#COMP_WORDS[@]}-1]'
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _vellum
    local sorted
    sorted=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort)
    echo ${sorted}
}

# The words of a sorted list that begin with the prefix.
starting()
{
    local word
    for word in $2; do [[ $word == "$1"* ]] && echo "$word"; done | xargs
}

first_words=$(printf '%s\n' -p -n --help --version render $commands | LC_ALL=C sort | xargs)
cases=(
    # typed line                                      | expected candidates
    "vellum "                                         "$first_words"
    "vellum set"                                      "$(starting set "$commands")"
    "vellum r"                                        "$(starting r "$first_words")"
    "vellum -p "                                      "- Office_TEC Warehouse Warehouse_B"
    "vellum -p Ware"                                  "Warehouse Warehouse_B"
    "vellum -p /dev/nu"                               "/dev/null"
    "vellum -n "                                      ""
    "vellum -p Office_TEC "                           "$commands"
    "vellum -p Office_TEC get"                        "$(starting get "$commands")"
    "vellum -n printer:9100 f"                        "feedlabel"
    "vellum -n printer:9100 feedlabel "               "cut reflective strip transmissive withribbon"
    "vellum feedlabel cut "                           "cut reflective strip transmissive withribbon"
    "vellum -p - feedlabel with"                      "withribbon"
    "vellum setprejob "                               "file string"
    "vellum -p Warehouse setpostlabel f"              "file"
    "vellum -p Warehouse setpostlabel file l"         "label.tpcl logo.tpcl"
    "vellum setprelabel string "                      ""
    "vellum setpostjob file notes.txt "               ""
    "vellum getstatus "                               ""
    "vellum -p - render "                             ""
    "vellum render "                                  "jobs label.tpcl logo.tpcl notes.txt"
    "vellum render lo"                                "logo.tpcl"
    "vellum render -"                                 "-o -r"
    "vellum render -r 300 -"                          "-o"
    "vellum render -o out.tif -r 600 -"               ""
    "vellum render -r "                               "203 300 600"
    "vellum render -r 3"                              "300"
    "vellum render -o n"                              "notes.txt"
    "vellum render label.tpcl -o "                    "jobs label.tpcl logo.tpcl notes.txt"
)

passed=0 failed=0
for ((i = 0; i < ${#cases[@]}; i += 2)); do
    got=$(complete_line "${cases[i]}")
    if [[ $got == "${cases[i + 1]}" ]]; then
        ((passed++))
    else
        ((failed++))
        printf 'FAIL: "%s"\n  expected: %s\n  got:      %s\n' "${cases[i]}" "${cases[i + 1]}" "$got"
    fi
done

# With no cupsd to ask, lpstat fails: the queue list is empty and its error
# message does not spill onto the command line.
printf '#!/bin/sh\necho "lpstat: Bad file descriptor" >&2\nexit 1\n' >"$work/bin/lpstat"
got=$(complete_line "vellum -p " 2>&1)
if [[ $got == "-" ]]; then ((passed++)); else ((failed++)); echo "FAIL: no lpstat gave: $got"; fi

echo "$passed passed, $failed failed"
((failed == 0))
