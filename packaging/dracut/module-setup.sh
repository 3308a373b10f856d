#!/bin/bash
# Makes a dracut image a base system: the daemon, what runs it, what both need at run time, and a
# service manager from which every way out is a reboot.
#
# MARROW_MIGRATOR  the migrator program to put in; by default that of the machine that builds
# MARROW_ROOT      where the package was unpacked; by default it is installed

migrator_place=/System/Library/Filesystems/loam.fs/Contents/Resources/loam_migrator

# Only where it is asked for: an ordinary image must never become a base system.
check() {
  require_binaries "$systemdutildir"/systemd || return 1
  return 255
}

# Not systemd-initrd and dracut-systemd, which mount a root file system and switch to it.
depends() {
  echo base systemd udev-rules kernel-modules
}

# One of the package's own files, put where the package has it.
packaged() {
  local file
  for file; do
    inst "${MARROW_ROOT-$dracutsysrootdir}$file" "$file" || {
      dfatal "$file is missing"
      exit 1
    }
  done
}

installkernel() {
  local words
  while read -r words; do
    [[ -z $words || $words == '#'* ]] && continue
    # shellcheck disable=SC2086 # several a line
    hostonly='' instmods $words
  done <"${MARROW_ROOT-$dracutsysrootdir}/usr/lib/marrow/modules"
}

install() {
  install_programs
  install_migrator
  install_units
  install_catalog
  declare_base_system
  inst_dir /private/tmp
  chmod 1777 "$initdir/private/tmp"
}

install_programs() {
  packaged /usr/sbin/marrowd /usr/libexec/marrow/marrow-await-volume \
    /usr/libexec/marrow/marrow-arm-retry /usr/lib/marrow/init /usr/lib/marrow/modules
  inst_multiple sh modprobe mount mkdir sleep reboot systemctl
  install_libraries libcrypto.so.3 libcryptsetup.so.12 libbpf.so.1 libsystemd.so.0 libgcc_s.so.1
}

# Libraries that are found by name when they are first needed, so that no program names them to the
# linker. dracut finds out what programs need in turn; libraries are no programs on Debian.
install_libraries() {
  local name library needed
  for name; do
    library=$(ldconfig -p | sed -n "s|^[[:space:]]$name .* => ||p" | head -n 1)
    [[ $library ]] || continue
    inst_libdir_file "$name*"
    mapfile -t needed < <(ldd "$library" | grep -o '/[^ ]*')
    ((${#needed[@]})) && inst_multiple "${needed[@]}"
  done
}

install_migrator() {
  local migrator=${MARROW_MIGRATOR:-$dracutsysrootdir$migrator_place}
  if [[ -x $migrator ]]; then
    inst "$migrator" "$migrator_place"
  elif [[ -n ${MARROW_MIGRATOR:-} ]]; then
    dfatal "$migrator is no program"
    exit 1
  else
    dwarning "This machine has no migrator; the image has none either."
  fi
}

install_units() {
  local unit units=$initdir/etc/systemd/system
  for unit in marrowd.service marrow.target marrow-reboot.service marrow-guard.service \
    marrow-guard.timer; do
    packaged "/usr/lib/systemd/system/$unit"
  done
  mkdir -p "$units/sysinit.target.wants" "$initdir/etc/systemd/system-generators"
  # The guard watches over a boot that never comes to the target, too.
  ln -sf "/usr/lib/systemd/system/marrow-guard.timer" "$units/sysinit.target.wants/"
  # An image that is started without the word for its target is a base system all the same.
  for unit in default.target initrd.target; do
    ln -sf "/usr/lib/systemd/system/marrow.target" "$units/$unit"
  done
  # Nobody sits before a shell here.
  for unit in emergency.service rescue.service; do
    ln -sf "/usr/lib/systemd/system/marrow-reboot.service" "$units/$unit"
  done
  ln -sf /dev/null "$units/ctrl-alt-del.target"
  # Nothing is mounted but by the daemon.
  for unit in systemd-fstab-generator systemd-gpt-auto-generator; do
    ln -sf /dev/null "$initdir/etc/systemd/system-generators/$unit"
  done
  inst_simple "$moddir/base-system.conf" /etc/systemd/system.conf.d/marrow.conf
  inst_simple "$moddir/base-system-sysctl.conf" /etc/sysctl.d/99-marrow.conf
  inst_simple "$moddir/base-system-journald.conf" /etc/systemd/journald.conf.d/marrow.conf
}

# What "journalctl --catalog" says of the daemon's messages.
install_catalog() {
  packaged /usr/lib/systemd/catalog/marrowd.catalog
  mkdir -p "$initdir/var/lib/systemd/catalog"
  journalctl --update-catalog --root="$initdir" || {
    dfatal "The catalog of messages cannot be read."
    exit 1
  }
}

# The file was written by the module "base", whose name sorts before this one.
declare_base_system() {
  local release=$initdir/usr/lib/initrd-release
  if [[ ! -e $release ]]; then
    dfatal "The module base has written no initrd-release."
    exit 1
  fi
  sed -i '/^VARIANT\(_ID\)\?=/d' "$release"
  echo 'VARIANT_ID=base-system' >>"$release"
}
