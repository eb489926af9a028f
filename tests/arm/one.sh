#!/bin/sh
# One process of tests: one FOLDER LINES NUMBER runs the line NUMBER of FOLDER/list, and adds "RESULT SECONDS NAME [REASON]"
# to FOLDER/results for each of its tests. What was said where one failed is shown.
folder=$1 lines=$2 number=$3
said=$folder/$number.said
sed -n "${number}p" "$folder/list" >"$said.line"
read -r seconds name tests command <"$said.line"
read -r began _ </proc/uptime
timeout -k 5 "$seconds" sh -c "exec $command" >"$said" 2>&1 </dev/null
status=$?
read -r ended _ </proc/uptime
took=$(echo "$began $ended" | awk '{ printf "%.2f", $2 - $1 }')

# A test of gtest has passed where it says so. One that began and did not, and one that never began, has failed.
if [ "$tests" = - ]; then
  result=passed
  [ $status -eq 0 ] || result=failed
  echo "$result $took $name" >"$said.results"
else
  awk -v program="${name%%.*}" -v tests="$tests" '
    function seconds() { return substr($5, 2) / 1000 }
    $1 $2 == "[RUN" { begun = $4 }
    /: Skipped$/ { getline reason }
    $1 $2 == "[OK" && $4 == begun { print "passed", seconds(), program "." $4; ended++; begun = "" }
    $1 $2 == "[SKIPPED" && $4 == begun { print "skipped", seconds(), program "." $4, reason; ended++; begun = "" }
    $1 $2 == "[FAILED" && begun != "" { print "failed", 0, program "." begun; ended++; begun = "" }
    END {
      if (begun != "") { print "failed", 0, program "." begun; ended++ }
      for (; ended < tests; ended++) print "failed", 0, program ".(a test that did not begin)"
    }' "$said" >"$said.results"
  # The tests of a program that does not end well are not believed: all of them count.
  if [ $status -ne 0 ] && ! grep -q '^failed' "$said.results"; then
    sed -i 's/^[a-z]* /failed /' "$said.results"
  fi
fi
failed=$(grep -c '^failed' "$said.results")
{
  result=$(awk 'NR == 1 { print $1 }' "$said.results")
  [ "$failed" -eq 0 ] || result=failed
  [ "$tests" = - ] || [ "$tests" -eq 1 ] || name="$name ($tests tests)"
  printf '%5d/%d  %-8s %7.2f s  %s\n' "$number" "$lines" "$result" "$took" "$name"
  if [ "$failed" -ne 0 ]; then
    echo "---- $name: exit code $status (143, 137: not through after $seconds s); it said:"
    tail -n 80 "$said"
    echo "----"
  fi
} >"$said.report"
cat "$said.report"
cat "$said.results" >>"$folder/results"
rm -f "$said" "$said".*
