# The update check against the sample version directory, served on 127.0.0.1 (no network needed).
update_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
python3 -m http.server "$update_port" --bind 127.0.0.1 --directory "$samples/updates" >/dev/null 2>&1 &
update_server=$!
for _ in $(seq 50); do
  python3 -c "import socket; socket.create_connection(('127.0.0.1', $update_port), 1)" 2>/dev/null && break
  sleep 0.1
done
update_base="http://127.0.0.1:$update_port/AppServices/Versions/"
step "$qjkit" check-update --base-url "$update_base" --name "Sample Writer" --build 41
step "$qjkit" check-update --base-url "$update_base" --name "Sample Writer" --build 43 --language-key de
step "$qjkit" check-update --base-url "$update_base" --name "Sample Writer" --build 4a
step "$qjkit" check-update --base-url "http://updates.example.invalid/AppServices/Versions/" --name "Sample Writer" --build 41
kill "$update_server" 2>/dev/null || true
