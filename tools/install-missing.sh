# Sourced by the tools.  install_missing PACKAGE...: run as root on Debian,
# installs those of the packages that are missing; elsewhere does nothing.
# Fails only when an install fails.
install_missing() {
  if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
    local need="" p
    for p in "$@"; do
      dpkg -s "$p" >/dev/null 2>&1 || need="$need $p"
    done
    if [ -n "$need" ]; then
      echo "== installing:$need"
      apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $need >/dev/null
    fi
  fi
}
