# shellcheck shell=bash
# A private configuration that points Passbridge at the virtual VCI; source it after lib.sh.

# tool_of PRESET, library_of PRESET, vci_of PRESET: the built files.
tool_of() { built_file "$1" tools '' passbridge .exe ''; }
library_of() { built_file "$1" src/api lib passbridge .dll .so; }
vci_of() { built_file "$1" virtual_vci lib virtual_vci .dll .so; }

# built_file PRESET FOLDER LINUX_PREFIX NAME WINDOWS_SUFFIX LINUX_SUFFIX
built_file() {
  local file
  case $1 in
    windows-*) file=$4$5 ;;
    *) file=$3$4$6 ;;
  esac
  file=$(build_dir "$1")/$2/$file
  [ -f "$file" ] || die "$1 is not built: there is no $file"
  printf '%s\n' "$file"
}

# as_windows_path PATH: as a program under Wine sees it.
as_windows_path() {
  local path=Z:$1
  printf '%s\n' "${path//\//\\}"
}

# with_virtual_vci PRESET COMMAND...: runs the command with settings of its own, which name the virtual VCI as the
# D-PDU library, and with that preset's library as the tool's default. With a Windows preset the command is a Windows
# program.
with_virtual_vci() {
  local preset=$1 vci library
  shift
  vci=$(vci_of "$preset") || return
  library=$(library_of "$preset") || return
  case $preset in
    windows-*) with_registry_of_wine "${preset#windows-}" "$vci" "$library" "$@" ;;
    *) with_settings_folder "$(build_dir "$preset")" "$vci" "$library" "$@" ;;
  esac
}

# with_settings_folder PARENT VCI LIBRARY COMMAND...: the folder ends with the command, so no run sees what another one
# left.
with_settings_folder() {
  local parent=$1 vci=$2 library=$3 settings key status=0
  shift 3
  settings=$(mktemp -d "$parent/settings.XXXXXX")
  key="$settings/machine/passbridge/SOFTWARE/QUARN/QUARN_VCI/PDU API Support"
  mkdir -p "$key" "$settings/user"
  mkdir -m 700 "$settings/runtime"
  printf 'text:%s\n' "$vci" >"$key/FunctionLibrary.value"
  XDG_CONFIG_DIRS=$settings/machine XDG_CONFIG_HOME=$settings/user XDG_RUNTIME_DIR=$settings/runtime \
    PASSBRIDGE_LIBRARY=${PASSBRIDGE_LIBRARY:-$library} "$@" || status=$?
  rm -rf "$settings"
  return "$status"
}

# with_registry_of_wine x64|x86 VCI LIBRARY COMMAND...: the registry is that of the build's Wine prefix; both bitnesses
# have a prefix of their own.
with_registry_of_wine() {
  local bits=$1 vci library view=64
  vci=$(as_windows_path "$2")
  library=$(as_windows_path "$3")
  shift 3
  [ "$bits" = x64 ] || view=32
  run_under_wine "$bits" reg add 'HKLM\SOFTWARE\QUARN\QUARN_VCI\PDU API Support' /v FunctionLibrary /t REG_SZ \
    /d "$vci" /f "/reg:$view" >/dev/null || die "cannot write to the registry of Wine"
  PASSBRIDGE_LIBRARY=${PASSBRIDGE_LIBRARY:-$library} run_under_wine "$bits" "$@"
}
