#!/bin/sh
# The job of the emulated machine: runs the tests of the lists in this folder, two at a time, and counts as ctest does.
#   programs  SECONDS NAME PATH each|suites   a test program; each of its tests, or each suite, has a process of its own
#   commands  SECONDS NAME COMMAND            anything else
#   settings  sourced first
# Ends with 1 where a test fails, or where a program of the machine met an alignment fault.
# shellcheck disable=SC1091  # it is made for each run
. ./settings
export HOME=/tmp LANG=C.UTF-8
out=/tmp/run
mkdir -p $out

# Of 32-bit ARM only: the kernel counts accesses of programs that the processor refuses, says so (1), and sends SIGBUS (4).
alignment=/proc/cpu/alignment
faults_of_users() { awk '/^User:/ { print $2 }' $alignment; }
if [ -e $alignment ]; then
  echo 5 >$alignment
  sed 's/^/alignment before: /' $alignment
  # Faults are refused and counted here: this one is on purpose.
  before=$(faults_of_users)
  ./unaligned || { echo "alignment: an unaligned access was not refused"; exit 1; }
  known=$(faults_of_users)
  [ "$known" -eq $((before + 1)) ] || { echo "alignment: an unaligned access was not counted"; exit 1; }
else
  case $(uname -m) in
    armv7*) echo "alignment: this kernel counts no faults"; exit 1 ;;
  esac
fi

# What a process takes up; docs/performance.md shows it.
! [ -x ./footprint ] || timeout 300 ./footprint || { echo "footprint: failed"; exit 1; }

# What takes long begins first. A line is SECONDS NAME TESTS COMMAND, without a number of tests where it is no test of
# gtest. In gtest's lists a suite's line has no blank before it, a test's has two.
sed 's/^\([^ ]* [^ ]*\) /\1 - /' commands >$out/list
while read -r seconds name path how; do
  "$path" --gtest_list_tests >$out/listed </dev/null || { echo "machine: $name does not say which tests it has"; exit 1; }
  grep -q '^  ' $out/listed || { echo "machine: $name has no tests"; exit 1; }
  awk -v seconds="$seconds" -v name="$name" -v path="$path" -v how="$how" '
    function line(what, tests, filter) { print seconds, name "." what, tests, path, "--gtest_filter=" filter }
    function end_of_suite() { if (how == "suites" && tests) line(suite "*", tests, suite "*"); tests = 0 }
    /^[^ ].*\.( *#.*)?$/ { end_of_suite(); suite = $1; next }
    /^  / && !/^  DISABLED_/ { tests++; if (how == "each") line(suite $1, 1, suite $1) }
    END { end_of_suite() }' $out/listed >>$out/list
done <programs

began=$(cut -d. -f1 /proc/uptime)
lines=$(wc -l <$out/list)
count=$(awk '{ count += $3 == "-" ? 1 : $3 } END { print count + 0 }' $out/list)
touch $out/results
echo "machine: $count tests on $(grep -c ^processor /proc/cpuinfo) processors, $(uname -m), Linux $(uname -r)"
seq "$lines" | xargs -n 1 -P "$(grep -c ^processor /proc/cpuinfo)" sh ./one "$out" "$lines"
took=$(($(cut -d. -f1 /proc/uptime) - began))

echo
awk '{ program = $3; sub(/\..*/, "", program); all[program]++; bad[program] += $1 == "failed"; seconds[program] += $2 }
  END { for (program in all) printf "%-28s %4d tests %4d failed %8.1f s\n", program, all[program], bad[program], seconds[program] }' \
  $out/results | sort
echo
of() { grep -c "^$1 " $out/results; }
failed=$((count - $(of passed) - $(of skipped)))
echo "$(((count - failed) * 100 / count))% tests passed, $failed tests failed out of $count"
echo
echo "Total Test time (real) = $took sec"
if [ "$(of skipped)" -ne 0 ]; then
  echo
  echo "The following tests did not run:"
  awk '$1 == "skipped" { $1 = $2 = ""; print }' $out/results
fi
if [ "$failed" -ne 0 ]; then
  echo
  echo "The following tests FAILED:"
  awk '$1 == "failed" { print "  " $3 }' $out/results
fi
if [ -e $alignment ]; then
  sed 's/^/alignment after: /' $alignment
  met=$(($(faults_of_users) - known))
  echo "alignment: $met faults of tested programs"
  [ "$met" -eq 0 ] || failed=$((failed + met))
fi
echo "$(of passed) passed, $((count - $(of passed) - $(of skipped))) failed, $(of skipped) skipped"
[ "$failed" -eq 0 ]
