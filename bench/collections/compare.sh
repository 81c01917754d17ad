#!/usr/bin/env bash
# Times `qjkit plist keypaths` and `qjkit plist merge` beside the same jobs done with Python's
# plistlib on a generated tree (10 keys per level, 5 levels: 100 000 leaves, about 4 MB of XML).
# Prints markdown table rows: task | qjkit | plistlib | ratio.
set -euo pipefail
qjkit=${1:-build-bench/tools/qjkit/qjkit}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$work" <<'PY'
import plistlib, sys
def tree(levels, salt):
    if levels == 0:
        return salt
    return {f"key{i}": tree(levels - 1, salt + i) for i in range(10)}
with open(f"{sys.argv[1]}/base.plist", "wb") as f:
    plistlib.dump(tree(5, 0), f, fmt=plistlib.FMT_XML, sort_keys=True)
with open(f"{sys.argv[1]}/overlay.plist", "wb") as f:
    plistlib.dump(tree(5, 1), f, fmt=plistlib.FMT_XML, sort_keys=True)
PY

cat > "$work/keypaths.py" <<'PY'
import plistlib, sys
def paths(d, out, prefix=""):
    for k, v in d.items():
        if isinstance(v, dict):
            paths(v, out, prefix + k + ".")
        else:
            out.append(prefix + k)
with open(sys.argv[1], "rb") as f:
    out = []
    paths(plistlib.load(f), out)
sys.stdout.write("".join(p + "\n" for p in sorted(out)))
PY
cat > "$work/merge.py" <<'PY'
import plistlib, sys
def merge(r, d):
    for k, n in d.items():
        if isinstance(r.get(k), dict) and isinstance(n, dict):
            merge(r[k], n)
        else:
            r[k] = n
with open(sys.argv[1], "rb") as a, open(sys.argv[2], "rb") as b:
    base = plistlib.load(a)
    merge(base, plistlib.load(b))
sys.stdout.buffer.write(plistlib.dumps(base, fmt=plistlib.FMT_XML, sort_keys=True))
PY

# Best of three runs, in seconds.
best() {
  local best=""
  for _ in 1 2 3; do
    local start end
    start=$(date +%s.%N)
    "$@" > "$work/out" 2>/dev/null
    end=$(date +%s.%N)
    best=$(python3 -c "t=$end-$start; b='$best'; print(f'{min(t, float(b)) if b else t:.3f}')")
  done
  echo "$best"
}

row() {
  local task=$1 ours=$2 theirs=$3
  printf '| %s | %s s | %s s | %.2f× |\n' "$task" "$ours" "$theirs" "$(python3 -c "print($theirs/$ours)")"
}

q=$(best "$qjkit" plist keypaths "$work/base.plist")
p=$(best python3 "$work/keypaths.py" "$work/base.plist")
row "key paths of 100 000 leaves" "$q" "$p"
q=$(best "$qjkit" plist merge "$work/base.plist" "$work/overlay.plist")
p=$(best python3 "$work/merge.py" "$work/base.plist" "$work/overlay.plist")
row "merge two trees of 100 000 leaves" "$q" "$p"
