#!/usr/bin/env bash
# Mutation check: applies each one-line mutant of scripts/mutants.list alone, rebuilds the test
# executables it names, runs them, and always puts the file back. A mutant is killed when a
# test fails or times out; it survives when all pass. Not counted in the score: a mutant whose
# snippet is not found exactly once ("stale"), one whose code does not compile ("broken"), and
# one whose tests already fail unmutated ("unjudged", which fails the run: a test that fails
# anyway would count every mutant killed). Exits non-zero below the target score.
#
#   scripts/mutants.sh [-b build-dir] [-f regex] [-j jobs] [-t seconds] [-s percent] [-n] [-c] [list-file]
#     -f  only mutants whose id or file matches the regex
#     -t  time limit for one test executable (default 300)
#     -s  the lowest score, killed of killed and survived, that passes (default 95)
#     -n  skip the run of the unmutated tests that comes first
#     -c  only check which mutants apply, build and run nothing
#
# List format, one block a mutant (lines starting with # are comments):
#   <id> <file> <exe>[=<gtest filter>][,<exe>[=<filter>]...]
#   - <exact source snippet, unique in the file>
#   + <its replacement>
set -uo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$repo/build
filter=.
jobs=2
limit=300
target=95
baseline=1
checkOnly=0
while getopts "b:f:j:t:s:nc" option; do
  case $option in
    b) build=$(cd "$OPTARG" && pwd) ;;
    f) filter=$OPTARG ;;
    j) jobs=$OPTARG ;;
    t) limit=$OPTARG ;;
    s) target=$OPTARG ;;
    n) baseline=0 ;;
    c) checkOnly=1 ;;
    *) sed -n '2,15p' "$0"; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
list=${1:-$repo/scripts/mutants.list}
logs=$build/mutants
mkdir -p "$logs"

ids=() files=() tests=() froms=() tos=()
while IFS= read -r line || [ -n "$line" ]; do
  case $line in
    '#'* | '') continue ;;
    '- '*) froms+=("${line#- }") ;;
    '+ '*) tos+=("${line#+ }") ;;
    '+') tos+=("") ;;
    *)
      read -r id file spec <<<"$line"
      ids+=("$id") files+=("$file") tests+=("$spec") ;;
  esac
done <"$list"
if [ ${#ids[@]} -ne ${#froms[@]} ] || [ ${#ids[@]} -ne ${#tos[@]} ]; then
  echo "mutants.list: every mutant needs one '- ' and one '+ ' line" >&2
  exit 2
fi

# The file being mutated and its original bytes, put back on every way out.
mutated=""
original=""
restore() {
  if [ -n "$mutated" ]; then
    printf '%s' "$original" >"$mutated"
    mutated=""
  fi
}
trap restore EXIT
trap 'restore; exit 130' INT TERM

# Sets `text` to the file's bytes, its final line ends included.
readFile() { text=$(cat "$1"; printf x); text=${text%x}; }

# Prints how often $2 occurs in the text $1: 0, 1 or 2 (meaning more than one).
occurrences() {
  local rest=${1#*"$2"}
  if [ "$rest" = "$1" ]; then echo 0; elif [[ $rest == *"$2"* ]]; then echo 2; else echo 1; fi
}

targetsOf() { local spec; for spec in ${1//,/ }; do printf '%s ' "${spec%%=*}"; done; }

# Runs every executable of a spec; prints the first that fails and returns 1, else returns 0.
runTests() {
  local spec exe gfilter status
  for spec in ${1//,/ }; do
    exe=${spec%%=*}
    gfilter='*'
    [ "$spec" != "$exe" ] && gfilter=${spec#*=}
    timeout -k 10 "$limit" "$repo/scripts/gtest-run.sh" "$build/bin/$exe.exe" \
      "--gtest_filter=$gfilter" >>"$2" 2>&1
    status=$?
    if [ $status -ne 0 ]; then
      [ $status -eq 124 ] || [ $status -eq 137 ] && echo "$exe (timed out)" && return 1
      echo "$exe"
      return 1
    fi
  done
  return 0
}

selected=()
for i in "${!ids[@]}"; do
  [[ ${ids[$i]} =~ $filter || ${files[$i]} =~ $filter ]] && selected+=("$i")
done

declare -A broken=()
if [ $checkOnly -eq 0 ] && [ $baseline -eq 1 ]; then
  declare -A seen=()
  specs=()
  for i in "${selected[@]}"; do
    for spec in ${tests[$i]//,/ }; do
      [ -z "${seen[$spec]:-}" ] && seen[$spec]=1 && specs+=("$spec")
    done
  done
  targets=$(for spec in "${specs[@]}"; do targetsOf "$spec"; done | tr ' ' '\n' | sort -u | xargs)
  echo "baseline: building $targets"
  if ! cmake --build "$build" -j "$jobs" --target $targets >"$logs/baseline.log" 2>&1; then
    echo "baseline build failed, see $logs/baseline.log" >&2
    exit 1
  fi
  for spec in "${specs[@]}"; do
    if ! failed=$(runTests "$spec" "$logs/baseline.log"); then
      echo "baseline: $failed fails without a mutant; its mutants are unjudged"
      broken[$spec]=1
    fi
  done
fi

killed=0 survived=0 stale=0 unjudged=0
survivors=() broke=()
for i in "${selected[@]}"; do
  id=${ids[$i]} file=${files[$i]}
  path=$repo/$file
  if [ ! -f "$path" ]; then
    printf '%-9s %s (%s: no such file)\n' stale "$id" "$file"
    stale=$((stale + 1)); continue
  fi
  readFile "$path"
  count=$(occurrences "$text" "${froms[$i]}")
  if [ "$count" != 1 ]; then
    [ "$count" = 0 ] && why="snippet not found" || why="snippet not unique"
    printf '%-9s %s (%s: %s)\n' stale "$id" "$file" "$why"
    stale=$((stale + 1)); continue
  fi
  if [ $checkOnly -eq 1 ]; then
    printf '%-9s %s\n' applies "$id"; continue
  fi
  skip=""
  for spec in ${tests[$i]//,/ }; do [ -n "${broken[$spec]:-}" ] && skip=$spec; done
  if [ -n "$skip" ]; then
    printf '%-9s %s (%s: %s fails unmutated)\n' unjudged "$id" "$file" "$skip"
    unjudged=$((unjudged + 1)); continue
  fi
  original=$text
  mutated=$path
  printf '%s' "${text/"${froms[$i]}"/"${tos[$i]}"}" >"$path"
  log=$logs/$id.log
  : >"$log"
  if ! cmake --build "$build" -j "$jobs" --target $(targetsOf "${tests[$i]}") >>"$log" 2>&1; then
    verdict="broken" how="does not compile, see $log"
  elif by=$(runTests "${tests[$i]}" "$log"); then
    verdict="survived" how="${tests[$i]}"
  else
    verdict="killed" how="by $by"
  fi
  restore
  # A test that timed out may leave its helpers behind in this prefix.
  [[ $how == *"timed out"* ]] && WINEPREFIX=$build/wineprefix wineserver -k >/dev/null 2>&1
  printf '%-9s %s (%s: %s)\n' "$verdict" "$id" "$file" "$how"
  case $verdict in
    killed) killed=$((killed + 1)) ;;
    broken) broke+=("$id") ;;
    *) survived=$((survived + 1)); survivors+=("$id") ;;
  esac
done

[ $checkOnly -eq 1 ] && exit 0
# The last mutant's executables are still in bin: build them back from the restored sources.
rebuilt=$(for i in "${selected[@]}"; do targetsOf "${tests[$i]}"; done | tr ' ' '\n' | sort -u | xargs)
[ -n "$rebuilt" ] && cmake --build "$build" -j "$jobs" --target $rebuilt >"$logs/rebuild.log" 2>&1
total=$((killed + survived))
echo "score: $killed of $total killed, $survived survived; not counted: ${#broke[@]} broken," \
  "$unjudged unjudged, $stale stale"
[ $survived -gt 0 ] && echo "survivors: ${survivors[*]}"
[ ${#broke[@]} -gt 0 ] && echo "broken: ${broke[*]}"
status=0
if [ $unjudged -gt 0 ]; then
  echo "FAIL: $unjudged mutants unjudged, their tests fail unmutated" >&2
  status=1
fi
if [ $total -gt 0 ] && awk -v k=$killed -v t=$total -v s="$target" 'BEGIN { exit !(k * 100 < s * t) }'; then
  echo "FAIL: score $((killed * 100 / total))% is below the target of $target%" >&2
  status=1
fi
exit $status
