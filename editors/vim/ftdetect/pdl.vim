" PDL panel scripts
autocmd BufRead,BufNewFile *.pdl setfiletype pdl
