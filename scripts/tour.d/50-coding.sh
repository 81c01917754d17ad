# Coding: the Blowfish cipher, byte coding under a key, and coded property-list files.
# Sourced by scripts/tour.sh, which defines step, $qjkit and $samples.
coding_tmp=$(mktemp -d)
step "$qjkit" blowfish encrypt --key-hex 0123456789ABCDEF 1111111111111111
step "$qjkit" blowfish decrypt --key-hex 0123456789ABCDEF 61f9c3802281b096
"$qjkit" code encode --key secret "$samples/note.txt" > "$coding_tmp/note.coded"
step od -An -tu1 -N 30 "$coding_tmp/note.coded"
step "$qjkit" code decode --key secret "$coding_tmp/note.coded"
step "$qjkit" plist read-coded "$samples/settings.coded"
step "$qjkit" plist write-coded "$samples/settings.plist" "$coding_tmp/settings.coded"
step "$qjkit" plist read-coded "$samples/settings.plist"
rm -rf "$coding_tmp"
