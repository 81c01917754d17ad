# Differences between two drafts: by lines (the default), by words, and by words with punctuation
# split off, the last one as an HTML fragment.
step "$qjkit" diff "$samples/draft-old.txt" "$samples/draft-new.txt"
step "$qjkit" diff --type words "$samples/draft-old.txt" "$samples/draft-new.txt"
step "$qjkit" diff --type punctuation --html "$samples/draft-old.txt" "$samples/draft-new.txt"
