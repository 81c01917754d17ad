# Shell helpers the scripts and benchmarks share; source this file.

# Serves DIR over HTTP on a free port of 127.0.0.1 until the calling script exits, and sets
# serve_port once the server answers.
serve_directory() {
  serve_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  python3 -m http.server "$serve_port" --bind 127.0.0.1 --directory "$1" > /dev/null 2>&1 &
  local server=$!
  trap "kill $server 2> /dev/null || true" EXIT
  for _ in $(seq 50); do
    python3 -c "import socket; socket.create_connection(('127.0.0.1', $serve_port), 1)" 2> /dev/null && return 0
    sleep 0.1
  done
  echo "the local HTTP server did not start on port $serve_port" >&2
  return 1
}

# Median wall-clock seconds of $runs runs of a command (output discarded).
median() {
  local times=() t i
  for ((i = 0; i < runs; i++)); do
    t=$( { TIMEFORMAT=%3R; time "$@" > /dev/null 2>&1; } 2>&1 )
    times+=("$t")
  done
  printf '%s\n' "${times[@]}" | sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'
}
