# Makes flatc's annotated bytes shorter, in two passes over one file. Vectors and nested tables lie
# inside the table here, where flatc reports them once more as padding or as unknown: of two entries
# at one place the nameless one goes, and so do the unknown sections. The values of a byte vector
# are joined, sixteen to a line.

function flush_values() {
  if (values == "") return
  printf "  %s | %-47s | value[%d] to [%d]\n", start, values, first, last
  values = ""
}

NR == FNR {
  if ($1 ~ /^\+0x/) ++entries[$1]
  next
}

/^\/\// { next }

/^unknown/ { unknown = 1 }
unknown {
  if ($0 == "") unknown = 0
  next
}

$1 ~ /^\+0x/ {
  split($0, column, "|")
  if (column[3] !~ /^ *$/) dropped = entries[$1] > 1 && column[3] ~ /uint8_t\[/
  if (dropped) next
}

/value\[[0-9]+\]/ && /\| uint8_t / {
  match($0, /value\[[0-9]+\]/)
  last = substr($0, RSTART + 6, RLENGTH - 7) + 0
  if (values == "") { start = $1; first = last; values = $3 } else values = values " " $3
  if ((last - first) == 15) flush_values()
  next
}

{
  flush_values()
  print
}

END { flush_values() }
