#!/bin/sh
# One test: one FOLDER COUNT NUMBER runs the line NUMBER of FOLDER/list, and adds "RESULT SECONDS NAME [REASON]" to
# FOLDER/results. What a failed test said is shown.
folder=$1 count=$2 number=$3
said=$folder/$number.said
sed -n "${number}p" "$folder/list" >"$folder/$number.line"
read -r seconds name command <"$folder/$number.line"
read -r began _ </proc/uptime
timeout -k 5 "$seconds" sh -c "exec $command" >"$said" 2>&1 </dev/null
status=$?
read -r ended _ </proc/uptime
took=$(echo "$began $ended" | awk '{ printf "%.2f", $2 - $1 }')

reason=
if [ $status -eq 0 ] && grep -q '^\[  SKIPPED \]' "$said"; then
  result=skipped
  reason=" $(awk '/: Skipped$/ { getline; print; exit }' "$said")"
elif [ $status -eq 0 ]; then
  result=passed
else
  result=failed
fi
{
  printf '%5d/%d  %-8s %7.2f s  %s%s\n' "$number" "$count" "$result" "$took" "$name" "$reason"
  if [ $result = failed ]; then
    echo "---- $name: exit code $status (143, 137: not through after $seconds s); it said:"
    tail -n 80 "$said"
    echo "----"
  fi
} >"$said.report"
cat "$said.report"
echo "$result $took $name$reason" >>"$folder/results"
rm -f "$said" "$said.report" "$folder/$number.line"
