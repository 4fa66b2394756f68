/* The PDL grammar: token declarations, the value slot of every symbol and the error report.
 *
 * The order of the %token lines is the token order of the language and decides the order of the
 * "expecting" lists in syntax error messages: the value tokens first, then the operators and keywords
 * in the order of the scanner's keyword table read column by column. Keep it when adding rules. */

%code requires {
#include <cstdint>
#include <string>
}

%code provides {
#include "pdlparser.h"
}

%code {
#include "pdlbaseclasses.h"
#include "pdlscanner.h"

#include <iostream>
}

%define parse.error verbose

%union {
    int32_t m_number;        // NUMBER
    float m_float;           // FLOATVAL
    std::string* m_pString;  // IDENTIFIER, TEXTVAL: heap text, freed by the action that takes it
}

/* Value tokens. */
%token <m_number> NUMBER
%token <m_float> FLOATVAL
%token <m_pString> IDENTIFIER
%token <m_pString> TEXTVAL

/* Operators and keywords, first column of the keyword table. */
%token ASSGNOP VALASSIGN NUMEQ NEQ PLUSOP MINUSOP INCROP DECROP MULTOP DIVOP MODOP LESSOP GREATEROP
%token LESSEQOP GREATEREQOP PERSISTENT EXTERN GLOBAL WORKPLACE GROUP MODULE LOCAL NOEVENTS IF

/* Second column. */
%token WHEN GOTO EXIT DUMP PRINT PRINTLN ADD REMOVE APPEND CUTLEFT CUTRIGHT GETLEFT GETRIGHT STRLEN
%token STRCMP GET INIT FUNCTION SUBSCRIBE REF ISVALID END WIDGET

/* Third column. */
%token THEN ELSE ELSIF FOREACH IN WHILE AND OR NOT CALL SET_ATTR SET_STATE CONNECT TRIGGER SEND_EVENT
%token EVENT SEQUENCE SCALE GETSCALE INVSCALE STARTEVENT UNFOLD DELAY ASSGN_SLOT

/* Strings the parser throws away (a lookahead or stack symbol dropped by a syntax error) are freed. */
%destructor { delete $$; } <m_pString>

%start module_definition

%%

/* Placeholder until the module and statement rules arrive: only the empty module is accepted. */
module_definition
    : %empty
    ;

%%

uint32_t allow_flags = 0;
std::list<uint32_t> flag_stack;

void yyerror(char const* pMessage)
{
    if (!g_lexFilePath.isEmpty())
    {
        std::cerr << g_lexFilePath.getString() << "(" << yylineno << "): " << pMessage << std::endl;
    }
    ++PDLParseInfo::m_errorCount;
}
