#!/usr/bin/env bash
# Checks the Vim syntax file: every keyword of the scanner and one sample of each kind of token must be
# highlighted by the expected syntax group.   vim-check.sh SYNTAXFILE SCANNER
# Exit status 77 (reported as skipped) when vim is not installed.
set -uo pipefail
syntax=$1
scanner=$2
if ! command -v vim >/dev/null; then
  echo "vim is not installed: the Vim syntax check is skipped"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# One case per line: the text, the column to look at, the group expected there.
{
  grep -oE '^"[a-z]+"' "$scanner" | tr -d '"' | while read -r word; do echo "$word	1	KEYWORD"; done
  printf '%s\t%s\t%s\n' \
    'include "x.pdl"' 1 pdlInclude \
    '$count' 2 pdlVariable \
    '$event_name' 2 pdlBuiltinVar \
    '&items' 2 pdlSet \
    '@Mode' 2 pdlType \
    '"a text"' 3 pdlString \
    '// a comment' 4 pdlComment \
    '/* a comment */' 4 pdlComment \
    '42' 1 pdlNumber \
    '12.5' 1 pdlFloat \
    '1abc' 1 '' \
    'SWITCHER.ME1.TAKE' 3 pdlFunctionId \
    '  INIT:' 3 pdlLabel \
    '$a := 1' 4 pdlOperator
} > "$work/cases"

cat > "$work/check.vim" <<VIM
set nocompatible
let s:failures = 0
for s:case in readfile('$work/cases')
  let [s:text, s:col, s:want] = split(s:case, "\t", 1)
  enew!
  call setline(1, s:text)
  execute 'source $syntax'
  let s:got = synIDattr(synID(1, str2nr(s:col), 1), 'name')
  let s:ok = s:want ==# 'KEYWORD' ? s:got =~# '^pdl\(Section\|Conditional\|Repeat\|Statement\|OperatorWord\|Storage\|Command\|Builtin\|Include\)$' : s:got ==# s:want
  if !s:ok
    call writefile(['FAIL: "' . s:text . '" column ' . s:col . ' is "' . s:got . '", expected ' . s:want], '$work/out', 'a')
    let s:failures += 1
  endif
endfor
call writefile([len(readfile('$work/cases')) . ' Vim cases checked, ' . s:failures . ' failed'], '$work/out', 'a')
execute s:failures == 0 ? 'qall!' : 'cquit!'
VIM
vim -u NONE -i NONE -N -Es -S "$work/check.vim" </dev/null
status=$?
cat "$work/out" 2>/dev/null
exit $status
