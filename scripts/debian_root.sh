# To be sourced: small Debian systems in directories of their own, of this machine's release.

# The repository that apt takes this release's main packages from.
debian_mirror() {
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(CODENAME)' \
    'Created-By: Packages' 'COMPONENT: main' |
    awk -v codename="$1" '$2 == codename || ($3 == codename && $2 ~ /^[a-z]+$/) { print $1; exit }'
}

# make_debian_root ARCHITECTURE DIRECTORY: a minimal system, in which apt works as it does outside. As
# root, in a mount namespace of the caller's own, in which /proc and /dev stay mounted.
make_debian_root() {
  local root=$2 codename mirror http_proxy='' https_proxy='' path
  export DEBIAN_FRONTEND=noninteractive LC_ALL=C
  command -v debootstrap >/dev/null || apt-get install -qq -y debootstrap
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mirror=$(debian_mirror "$codename")
  [ -n "$mirror" ] || { echo "apt knows no repository of $codename"; return 1; }
  eval "$(apt-config shell http_proxy Acquire::http::Proxy https_proxy Acquire::https::Proxy)"
  [ -z "$http_proxy" ] || export http_proxy
  [ -z "$https_proxy" ] || export https_proxy
  chmod 755 "$root"
  debootstrap --arch="$1" --variant=minbase "$codename" "$root" "$mirror"

  rm -rf "$root"/etc/apt
  for path in /etc/apt /usr/share/keyrings /etc/ssl/certs /usr/share/ca-certificates \
    /usr/local/share/ca-certificates; do
    [ -d "$path" ] || continue
    mkdir -p "$root$path"
    cp -a "$path/." "$root$path/"
  done
  rm -rf "$root"/etc/apt/preferences.d/*
  cp -L /etc/resolv.conf /etc/hosts "$root/etc/" || true
  mount --rbind /proc "$root/proc"
  mount --rbind /dev "$root/dev"
  # One repository that is out of order for the moment need not matter: installing decides.
  chroot "$root" apt-get -q update || true
}
