" Vim syntax file
" Language: PDL, the panel description language of the control panel
" Files:    *.pdl

if exists("b:current_syntax")
  finish
endif

" Keywords are lower case and case matters.
syntax case match
setlocal iskeyword=@,48-57,_

syntax keyword pdlSection     init function widget sequence event startevent when end
syntax keyword pdlConditional if then elsif else
syntax keyword pdlRepeat      foreach while
syntax keyword pdlStatement   goto exit
syntax keyword pdlOperatorWord in and or not
syntax keyword pdlStorage     global workplace group module local persistent extern noevents ref
syntax keyword pdlCommand     set setstate connect trigger sendevent subscribe unfold getscale call delay
syntax keyword pdlCommand     assignslot print println dump add remove
syntax keyword pdlBuiltin     append cutleft cutright getleft getright strlen strcmp scale invscale get isvalid
syntax keyword pdlInclude     include

" Dotted words are function ids of the panel state or the mainframe side.
syntax match pdlFunctionId "\%([$&@.[:alnum:]_]\)\@<!\<\w\+\%(\.\w\+\)\+\>"

" Numbers: a run of digits that is a word of its own; 1abc is a word. Defined after the function ids,
" so that 12.5 is a number.
syntax match pdlNumber  "\<\d\+\>"
syntax match pdlFloat   "\<\d\+\.\d\+\>"

" $variables, &sets, @types, and the names the panel defines.
syntax match pdlVariable  "\$\w\+"
syntax match pdlSet       "&\w\+"
syntax match pdlType      "@\w\+"
syntax match pdlBuiltinVar "\$\%(event_name\|event_id\|event_value\|workplace_id\|group_id\|module_id\|conn_port\|conn_connector\|macro_level\)\>"

" A state of a sequence: a word and one colon at the start of a line.
syntax match pdlLabel "^\s*\w\+\s*:\%([:=]\)\@!"he=e-1

syntax match pdlOperator ":=\|<-\|==\|<>\|<=\|>=\|++\|--\|[-+*/%<>=]"

" Texts have no escapes and may span lines.
syntax region pdlString start=+"+ end=+"+
syntax region pdlComment start="/\*" end="\*/" contains=pdlTodo
syntax match  pdlComment "//.*$" contains=pdlTodo
syntax keyword pdlTodo contained TODO FIXME XXX

highlight default link pdlSection      Keyword
highlight default link pdlConditional  Conditional
highlight default link pdlRepeat       Repeat
highlight default link pdlStatement    Statement
highlight default link pdlOperatorWord Operator
highlight default link pdlStorage      StorageClass
highlight default link pdlCommand      Statement
highlight default link pdlBuiltin      Function
highlight default link pdlInclude      Include
highlight default link pdlNumber       Number
highlight default link pdlFloat        Float
highlight default link pdlFunctionId   Constant
highlight default link pdlVariable     Identifier
highlight default link pdlSet          Identifier
highlight default link pdlType         Type
highlight default link pdlBuiltinVar   Special
highlight default link pdlLabel        Label
highlight default link pdlOperator     Operator
highlight default link pdlString       String
highlight default link pdlComment      Comment
highlight default link pdlTodo         Todo

let b:current_syntax = "pdl"
