# Text utilities: statistics, natural ordering, finding, percent-encoding and fitting.
step "$qjkit" stats "$samples/chapter.txt"
step "$qjkit" stats --width 40 --count-empty-lines "$samples/chapter.txt"
step "$qjkit" stats --whole-words --range 6:4 "$samples/chapter.txt"
step "$qjkit" compare natural chapter9 chapter10
step "$qjkit" compare hex 1.2.a 1.2.9
step "$qjkit" sort "$samples/filenames.txt"
step "$qjkit" sort --hex "$samples/versions.txt"
step "$qjkit" find --selection 4:7 lantern "$samples/chapter.txt"
step "$qjkit" find --backwards --wrap --selection 4:7 LANTERN --case-insensitive "$samples/chapter.txt"
step "$qjkit" netencode "a b" "€"
step "$qjkit" delete-spaces "Q J Writer Pro"
step "$qjkit" fit --width 120 "/home/ada/Documents/Drafts/chapter twelve, second revision.txt"
step "$qjkit" fit --keep-start --width 120 "  A window title that is much too long
for its label  "
