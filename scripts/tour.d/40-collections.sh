# Collections: key paths, merging and localizing property lists (sourced by scripts/tour.sh).
step "$qjkit" plist keypaths "$samples/settings.plist"
step "$qjkit" plist merge "$samples/settings.plist" "$samples/settings-overlay.plist"
step env LANG=de_DE.UTF-8 "$qjkit" plist localize --table Menus --strings-dir "$samples/strings" "$samples/menus.plist"
