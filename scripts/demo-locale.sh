#!/usr/bin/env bash
# Prints the Linux locale under which Wine shows the component in the language
# of a language-file code (de, zh-cn, pt-br, ...), generating the locale and
# installing fonts with the script's glyphs when they are missing. Wine takes
# the desktop's UI language from the process's locale, and only from one that
# the C library knows, so the locale has to exist, not just be named.
#   scripts/demo-locale.sh CODE
set -euo pipefail

case "${1:-}" in
    ar) locale=ar_EG ;;   cs) locale=cs_CZ ;;   da) locale=da_DK ;;   de) locale=de_DE ;;
    el) locale=el_GR ;;   es) locale=es_ES ;;   fi) locale=fi_FI ;;   fr) locale=fr_FR ;;
    he) locale=he_IL ;;   hu) locale=hu_HU ;;   it) locale=it_IT ;;   ko) locale=ko_KR ;;
    nl) locale=nl_NL ;;   nb) locale=nb_NO ;;   pl) locale=pl_PL ;;   pt-br) locale=pt_BR ;;
    pt-pt|pt) locale=pt_PT ;;  ru) locale=ru_RU ;;  sv) locale=sv_SE ;;  tr) locale=tr_TR ;;
    uk) locale=uk_UA ;;   zh-cn) locale=zh_CN ;; zh-tw) locale=zh_TW ;; en|"") locale=C ;;
    *) echo "unknown language code: $1" >&2; exit 2 ;;
esac
[ "$locale" = C ] && { echo C.UTF-8; exit 0; }
locale="$locale.UTF-8"

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
need=()
dpkg-query -W -f='${Status}' locales 2>/dev/null | grep -q "install ok installed" || need+=(locales)
# Chinese, Korean, Arabic and Hebrew glyphs for Wine's font fall-back.
for p in fonts-wqy-zenhei fonts-noto-core fonts-nanum; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || need+=("$p")
done
if [ ${#need[@]} -gt 0 ]; then
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq >&2
    $sudo apt-get install -y -qq --no-install-recommends "${need[@]}" >/dev/null
fi
if ! locale -a 2>/dev/null | grep -qix "${locale/UTF-8/utf8}"; then
    grep -q "^$locale UTF-8" /etc/locale.gen 2>/dev/null || echo "$locale UTF-8" | $sudo tee -a /etc/locale.gen >/dev/null
    $sudo locale-gen >/dev/null 2>&1 || $sudo localedef -i "${locale%.UTF-8}" -f UTF-8 "$locale" >&2
fi
echo "$locale"
