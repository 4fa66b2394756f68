/* The PDL grammar: LALR(1), one token of look-ahead, a single pass that builds the module's objects as
 * it goes. Each top-level item takes effect through g_pCurrentModule as soon as it is reduced; below
 * that level every action builds its code object directly.
 *
 * The order of the %token lines is the token order of the language and decides the order of the
 * "expecting" lists in syntax error messages: the value tokens first, then the operators and keywords
 * in the order of the scanner's keyword table read column by column, then the literal bytes. Keep it
 * when adding rules.
 *
 * Every symbol carries the line where it began (bison locations fed from the scanner's line count).
 * Before the action of a production with a non-empty right-hand side the file and the line of its
 * first symbol go to PDLParseInfo, from where every code object built in the action takes its
 * position. There are no error-recovery rules: the first syntax error ends the parse. */

%code requires {
#include <cstdint>
#include <string>
#include <vector>

class PDLArgumentList;
class PDLCodeBlock;
class PDLCommand;
class PDLCondition;
class PDLExpression;
class PDLExpressionList;
class PDLMappedValueList;
class PDLParameter;
class PDLParameterList;
class PDLProtoVariable;
class PDLSequenceStateList;
class PDLSetExp;
class PDLVariableList;
class PDLVariant;
}

%code provides {
#include "pdlparser.h"
}

%code {
#include "pdlbaseclasses.h"
#include "pdlcommandclasses.h"
#include "pdlconditionclasses.h"
#include "pdlexpressionclasses.h"
#include "pdlfunctionclasses.h"
#include "pdlmodule.h"
#include "pdlpanelcommandclasses.h"
#include "pdlscanner.h"
#include "pdlsequenceclasses.h"
#include "pdlsymboltable.h"
#include "pdltypeclasses.h"
#include "pdlvariant.h"
#include "pdlwidgetclasses.h"

#include <iostream>
#include <new>

// Room for 200 entries at the start, doubled on demand up to 10000; past that "memory exhausted".
#define YYINITDEPTH 200
#define YYMAXDEPTH 10000

// The default location rule, plus the parse position: a non-empty right-hand side hands the line of
// its first symbol and the current source path to the objects its action builds.
#define YYLLOC_DEFAULT(Current, Rhs, N)                                                                   \
    do                                                                                                    \
    {                                                                                                     \
        if (N)                                                                                            \
        {                                                                                                 \
            (Current).first_line = YYRHSLOC(Rhs, 1).first_line;                                           \
            (Current).first_column = YYRHSLOC(Rhs, 1).first_column;                                       \
            (Current).last_line = YYRHSLOC(Rhs, N).last_line;                                             \
            (Current).last_column = YYRHSLOC(Rhs, N).last_column;                                         \
            PDLParseInfo::m_filePath = g_lexFilePath;                                                     \
            PDLParseInfo::m_line = (Current).first_line;                                                  \
        }                                                                                                 \
        else                                                                                              \
        {                                                                                                 \
            (Current).first_line = (Current).last_line = YYRHSLOC(Rhs, 0).last_line;                      \
            (Current).first_column = (Current).last_column = YYRHSLOC(Rhs, 0).last_column;                \
        }                                                                                                 \
    } while (0)

namespace
{
// The scanner keeps only a line; each token's location is that line.
int nextToken()
{
    int const token = yylex();
    yylloc.first_line = yylloc.last_line = yylineno;
    yylloc.first_column = yylloc.last_column = 0;
    return token;
}
} // namespace
#define yylex nextToken

namespace
{
// The end of a guarded statement: 1 when its permission bit is set, otherwise the message and 0.
int checkAllowed(uint32_t bit, char const* pMessage);

// The start of a block: the enclosing block's word is saved, the block's own is set.
void enterBlock(uint32_t flags)
{
    flag_stack.push_back(allow_flags);
    allow_flags = flags;
}

void leaveBlock()
{
    if (!flag_stack.empty())
    {
        allow_flags = flag_stack.back();
        flag_stack.pop_back();
    }
}

// Links a guarded statement, or drops it when its check failed.
void linkChecked(PDLCodeBlock* pBlock, PDLCommand* pCommand, int allowed)
{
    if (allowed != 0)
    {
        pBlock->addCommand(pCommand);
    }
    else
    {
        delete pCommand;
    }
}

void deleteProtos(PDLProtoVarVector* pProtos)
{
    if (pProtos != nullptr)
    {
        for (PDLProtoVariable* pProto : *pProtos)
        {
            delete pProto;
        }
        delete pProtos;
    }
}

void deleteVariables(PDLVariableList* pVariables)
{
    if (pVariables != nullptr)
    {
        for (PDLVariable* pVariable : *pVariables)
        {
            delete pVariable;
        }
        delete pVariables;
    }
}

PDLProtoVariable* simpleProto(std::string const& name, bool isArray, bool isSet, PDLExpression* pIndex)
{
    return new PDLProtoVariable(name, isArray, isSet, pIndex, false, "", true);
}

// Reads the index expression of another prototype without owning it. `$a[i]++` reads and writes the
// same element: the read takes its index from the target's prototype, which the assignment owns and
// binds, so the alias binds nothing itself.
class PDLExpressionIndexAlias : public PDLExpression
{
public:
    explicit PDLExpressionIndexAlias(PDLExpression const* pTarget) : m_pTarget(pTarget) {}

    PDLVariant evaluate(bool warnInvalid) const override { return m_pTarget->evaluate(warnInvalid); }
    bool hasChanged() const override { return m_pTarget->hasChanged(); }

private:
    PDLExpression const* m_pTarget;
};

// The read side of `$x++` and `$x--`: a prototype of the same variable and element.
PDLProtoVariable* copyProto(PDLProtoVariable const* pProto)
{
    PDLExpression* pIndex = nullptr;
    if (pProto->m_pIndex != nullptr)
    {
        pIndex = new PDLExpressionIndexAlias(pProto->m_pIndex);
    }
    return new PDLProtoVariable(pProto->m_name, pProto->m_isArray, pProto->m_isSet, pIndex,
                                pProto->m_isReference, pProto->m_typeName, pProto->m_generateEvents);
}

// A mapped type. The module refuses a name it knows with its message but, unlike for a plain type,
// leaves the names and rows to the caller: they are freed here then.
void createMappedType(std::string const& name, std::vector<std::string>* pNames, PDLMappedValueList* pRows)
{
    if (g_pCurrentModule == nullptr)
    {
        delete pNames;
        delete pRows;
        return;
    }
    bool const taken = g_pCurrentModule->hasType(name);
    g_pCurrentModule->createType(name, pNames, pRows);
    if (taken)
    {
        delete pNames;
        delete pRows;
    }
}

// Hands a function to the module. The module refuses a second function of one name with its message
// and neither keeps nor frees it: the refused one is freed here.
void addFunction(PDLFunction* pFunction)
{
    bool const taken = g_pCurrentModule->getFunction(pFunction->getName()) != nullptr;
    g_pCurrentModule->addFunction(pFunction);
    if (taken)
    {
        delete pFunction;
    }
}

// Whether PDLContext::createVariables refuses this one prototype: no context of the scope above the
// module, or a name already declared (in this file, for a shared scope; in the module's table
// otherwise). A refusal leaves the prototype and the vector to the caller.
bool isRefusedDeclaration(EScope scope, std::string const& name)
{
    PDLContext* pTarget = g_pCurrentModule;
    while (pTarget != nullptr && pTarget->getScope() != scope)
    {
        pTarget = pTarget->getParent();
    }
    if (pTarget == nullptr)
    {
        return true;
    }
    if (scope != eScopeModule && scope != eScopeLocal)
    {
        return g_pCurrentModule->hasVariableInFile(name);
    }
    return pTarget->getSymbolTable()->hasVariable(name);
}

// A module-level declaration. createVariables frees what it consumed except after a refusal, which it
// does not signal; the prototypes go to it one at a time so that a refusal is known beforehand: what
// it leaves, and the rest of the declaration, which it would not have reached, are freed here.
void declareVariables(EScope scope, std::string const& typeName, PDLProtoVarVector* pProtos, bool persistent)
{
    if (g_pCurrentModule == nullptr)
    {
        deleteProtos(pProtos);
        return;
    }
    if (!typeName.empty() && !g_pCurrentModule->hasType(typeName))
    {
        // Reported once for the declaration, which is freed by the call.
        g_pCurrentModule->createVariables(scope, typeName, pProtos, persistent);
        return;
    }
    for (size_t i = 0; i < pProtos->size(); ++i)
    {
        PDLProtoVariable* const pProto = (*pProtos)[i];
        (*pProtos)[i] = nullptr;
        bool const refused = isRefusedDeclaration(scope, pProto->m_name);
        PDLProtoVarVector* const pOne = new PDLProtoVarVector(1, pProto);
        g_pCurrentModule->createVariables(scope, typeName, pOne, persistent);
        if (refused)
        {
            deleteProtos(pOne);
            break;
        }
    }
    deleteProtos(pProtos);
}

} // namespace
}

%define parse.error custom
%locations

%union {
    int32_t m_number;                           // NUMBER, flags, scopes, check results
    float m_float;                              // FLOATVAL
    std::string* m_pString;                     // IDENTIFIER, TEXTVAL, names
    PDLVariant* m_pValue;                       // one value of a type or set
    std::vector<PDLVariant>* m_pValues;         // a value list
    std::vector<std::string>* m_pStrings;       // an identifier list
    PDLMappedValueList* m_pMappedValues;        // the rows of a mapped type
    std::vector<PDLProtoVariable*>* m_pProtos;  // declared variables, arguments
    PDLProtoVariable* m_pProto;                 // one declared or referenced variable
    PDLVariableList* m_pVariables;              // local variables
    PDLCodeBlock* m_pCodeBlock;
    PDLCommand* m_pCommand;
    PDLCondition* m_pCondition;
    PDLExpression* m_pExpression;
    PDLSetExp* m_pSetExp;
    PDLExpressionList* m_pExpressions;          // a function id or print list
    PDLArgumentList* m_pArguments;
    PDLParameterList* m_pParameters;
    PDLParameter* m_pParameter;
    PDLSequenceStateList* m_pStates;
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

/* The literal bytes the grammar knows, in the order the module rules first use them. */
%token '{' '}' '(' ')' '@' ',' '.' '$' '[' ']' '&' ':' '='

/* Strings the parser throws away (a lookahead or stack symbol dropped by a syntax error) are freed. */
%destructor { delete $$; } <m_pString>
/* So is every other heap value left on the stack when a syntax error ends the parse. */
%destructor { delete $$; } <m_pValue> <m_pValues> <m_pStrings> <m_pMappedValues> <m_pProto>
%destructor { delete $$; } <m_pCodeBlock> <m_pCommand> <m_pCondition> <m_pExpression> <m_pSetExp>
%destructor { delete $$; } <m_pExpressions> <m_pArguments> <m_pParameters> <m_pParameter> <m_pStates>
%destructor { deleteProtos($$); } <m_pProtos>
%destructor { deleteVariables($$); } <m_pVariables>

/* From weakest to strongest; all left-associative. */
%left OR
%left AND
%left NOT
%left APPEND CUTLEFT CUTRIGHT GETLEFT GETRIGHT STRLEN
%left PLUSOP MINUSOP
%left MULTOP DIVOP MODOP

%type <m_pString> type_name constant_function_id simple_variable
%type <m_pValues> value_list
%type <m_pValue> value
%type <m_pStrings> identifier_list
%type <m_pMappedValues> value_mapping_list
%type <m_number> persistence variable_scope
%type <m_pProtos> variable_list extern_variable_list argument_def_list_or_empty argument_def_list
%type <m_pProto> variable_declaration extern_variable_declaration argument_definition variable set_variable
%type <m_pVariables> local_variable_definition_list local_variable_definition
%type <m_pCondition> when_construct sequence_event_list sequence_event event_list event condition
%type <m_pStates> sequence_state_list
%type <m_pCodeBlock> sequence_code_block code_block
%type <m_pCommand> sequence_event_construct dump print println value_assign add_to_set remove_from_set
%type <m_pCommand> if_construct elsif_construct foreach_construct while_construct subscribe getscale
%type <m_pCommand> unfold set_state send_event delay assign_slot call connect set_attr trigger
%type <m_pCommand> widget_event_construct function_call sequence_connect sequence_set_attr
%type <m_pCommand> sequence_trigger
%type <m_pExpressions> expression_list function_id
%type <m_pParameters> parameter_list
%type <m_pParameter> parameter
%type <m_pArguments> argument_list
%type <m_pExpression> expression string_exp numeric_exp
%type <m_pSetExp> set_exp true_set_exp
%type <m_number> CS_CHECK_CALL CS_CHECK_WIDGET_EVENT CS_CHECK_CONNECT CS_CHECK_SET_ATTR CS_CHECK_FCT_CALL
%type <m_number> CS_CHECK_SEQ_GOTO CS_CHECK_EXIT CS_CHECK_FOREIGN_CONNECT CS_CHECK_FOREIGN_SET_ATTR

%start module_definition

%%

/* ---- Module level ---- */

module_definition
    : %empty
    | module_definition type_declaration
    | module_definition variable_definition
    | module_definition init_section
    | module_definition function_definition
    | module_definition widget_definition
    | module_definition sequence_definition
    ;

type_declaration
    : type_name '{' value_list '}'
        {
            if (g_pCurrentModule != nullptr)
                g_pCurrentModule->createType(*$1, $3);
            else
                delete $3;
            delete $1;
        }
    | type_name '{' '}'
        {
            if (g_pCurrentModule != nullptr)
                g_pCurrentModule->createType(*$1, new std::vector<PDLVariant>());
            delete $1;
        }
    | type_name '(' identifier_list ')' '{' value_mapping_list '}'
        {
            createMappedType(*$1, $3, $6);
            delete $1;
        }
    | type_name '(' identifier_list ')' '{' '}'
        {
            createMappedType(*$1, $3, new PDLMappedValueList());
            delete $1;
        }
    ;

type_name
    : '@' IDENTIFIER { $$ = $2; }
    ;

value_list
    : value_list ',' value { $$ = $1; $$->push_back(*$3); delete $3; }
    | value { $$ = new std::vector<PDLVariant>(1, *$1); delete $1; }
    ;

value
    : constant_function_id { $$ = new PDLVariant(*$1); delete $1; }
    | TEXTVAL { $$ = new PDLVariant(*$1); delete $1; }
    | NUMBER { $$ = new PDLVariant(static_cast<int>($1)); }
    | FLOATVAL { $$ = new PDLVariant($1); }
    ;

constant_function_id
    : constant_function_id '.' IDENTIFIER { $$ = $1; *$$ += "."; *$$ += *$3; delete $3; }
    | IDENTIFIER { $$ = $1; }
    ;

identifier_list
    : identifier_list ',' IDENTIFIER { $$ = $1; $$->push_back(*$3); delete $3; }
    | IDENTIFIER { $$ = new std::vector<std::string>(1, *$1); delete $1; }
    ;

value_mapping_list
    : value '(' value_list ')' ',' value_mapping_list
        {
            $$ = $6;
            $$->push_front(new PDLValMapping(*$1, $3));
            delete $1;
        }
    | value '(' value_list ')'
        {
            $$ = new PDLMappedValueList();
            $$->push_back(new PDLValMapping(*$1, $3));
            delete $1;
        }
    ;

variable_definition
    : persistence variable_scope type_name variable_list
        {
            declareVariables(static_cast<EScope>($2), *$3, $4, $1 != 0);
            delete $3;
        }
    | persistence variable_scope variable_list
        {
            declareVariables(static_cast<EScope>($2), std::string(), $3, $1 != 0);
        }
    | EXTERN constant_function_id type_name extern_variable_list
        {
            if (g_pCurrentModule != nullptr)
                g_pCurrentModule->createExternVariables(*$2, *$3, $4);
            else
                deleteProtos($4);
            delete $2;
            delete $3;
        }
    | EXTERN constant_function_id extern_variable_list
        {
            if (g_pCurrentModule != nullptr)
                g_pCurrentModule->createExternVariables(*$2, std::string(), $3);
            else
                deleteProtos($3);
            delete $2;
        }
    ;

persistence
    : %empty { $$ = 0; }
    | PERSISTENT { $$ = 1; }
    ;

variable_scope
    : GLOBAL { $$ = eScopeGlobal; }
    | WORKPLACE { $$ = eScopeWorkplace; }
    | GROUP { $$ = eScopeGroup; }
    | MODULE { $$ = eScopeModule; }
    ;

variable_list
    : variable_list ',' variable_declaration { $$ = $1; $$->push_back($3); }
    | variable_declaration { $$ = new PDLProtoVarVector(1, $1); }
    ;

variable_declaration
    : '$' IDENTIFIER { $$ = simpleProto(*$2, false, false, nullptr); delete $2; }
    | '$' IDENTIFIER '[' ']' { $$ = simpleProto(*$2, true, false, nullptr); delete $2; }
    | '&' IDENTIFIER { $$ = simpleProto(*$2, false, true, nullptr); delete $2; }
    | '$' IDENTIFIER NOEVENTS
        {
            $$ = new PDLProtoVariable(*$2, false, false, nullptr, false, "", false);
            delete $2;
        }
    | '$' IDENTIFIER '[' ']' NOEVENTS
        {
            $$ = new PDLProtoVariable(*$2, true, false, nullptr, false, "", false);
            delete $2;
        }
    | '&' IDENTIFIER NOEVENTS
        {
            $$ = new PDLProtoVariable(*$2, false, true, nullptr, false, "", false);
            delete $2;
        }
    ;

extern_variable_list
    : extern_variable_list ',' extern_variable_declaration { $$ = $1; $$->push_back($3); }
    | extern_variable_declaration { $$ = new PDLProtoVarVector(1, $1); }
    ;

extern_variable_declaration
    : '$' IDENTIFIER { $$ = simpleProto(*$2, false, false, nullptr); delete $2; }
    | '$' IDENTIFIER ':' ':' IDENTIFIER
        {
            // `$a::b` declares b, linked to the extern variable a.
            $$ = new PDLProtoVariable(*$5, false, false, nullptr, false, *$2, true);
            delete $2;
            delete $5;
        }
    ;

init_section
    : INIT local_variable_definition_list CS_INIT_BLOCK_START code_block CS_BLOCK_END END INIT
        {
            if (g_pCurrentModule != nullptr)
            {
                // The section enters the locals into its table and frees the list that carried them.
                g_pCurrentModule->addInitSection(new PDLInitSection(g_pCurrentModule, $2, $4));
            }
            else
            {
                deleteVariables($2);
                delete $4;
            }
        }
    ;

local_variable_definition_list
    : %empty { $$ = new PDLVariableList(); }
    | local_variable_definition_list local_variable_definition { $$ = $1; $$->appendList($2); }
    ;

local_variable_definition
    : LOCAL type_name variable_list { $$ = new PDLVariableList(eScopeLocal, $3, *$2); delete $2; }
    | LOCAL variable_list { $$ = new PDLVariableList(eScopeLocal, $2, std::string()); }
    ;

function_definition
    : FUNCTION IDENTIFIER '(' argument_def_list_or_empty ')' local_variable_definition_list
      CS_FCT_BLOCK_START code_block CS_BLOCK_END END FUNCTION
        {
            if (g_pCurrentModule != nullptr)
            {
                addFunction(new PDLFunction(*$2, g_pCurrentModule, $4, $6, $8));
            }
            else
            {
                deleteProtos($4);
                deleteVariables($6);
                delete $8;
            }
            delete $2;
        }
    ;

argument_def_list_or_empty
    : %empty { $$ = nullptr; }
    | argument_def_list { $$ = $1; }
    ;

argument_def_list
    : argument_definition { $$ = new PDLProtoVarVector(1, $1); }
    | argument_def_list ',' argument_definition { $$ = $1; $$->push_back($3); }
    ;

argument_definition
    : variable_declaration { $$ = $1; }
    | REF variable_declaration { $$ = $2; $$->m_isReference = true; }
    ;

widget_definition
    : WIDGET simple_variable '=' NUMBER local_variable_definition_list CS_WIDGET_BLOCK_START code_block
      CS_BLOCK_END END WIDGET
        {
            if (g_pCurrentModule != nullptr)
            {
                g_pCurrentModule->addWidget(
                    new PDLWidget(g_pCurrentModule, *$2, static_cast<unsigned int>($4), $5, $7));
            }
            else
            {
                deleteVariables($5);
                delete $7;
            }
            delete $2;
        }
    | WIDGET simple_variable ASSGNOP type_name local_variable_definition_list CS_WIDGET_BLOCK_START
      code_block CS_BLOCK_END END WIDGET
        {
            if (g_pCurrentModule != nullptr)
            {
                g_pCurrentModule->addWidget(new PDLWidget(g_pCurrentModule, *$2, *$4, $5, $7));
            }
            else
            {
                deleteVariables($5);
                delete $7;
            }
            delete $2;
            delete $4;
        }
    ;

sequence_definition
    : SEQUENCE simple_variable '=' NUMBER STARTEVENT '(' identifier_list ')' when_construct
      local_variable_definition_list sequence_state_list END SEQUENCE
        {
            if (g_pCurrentModule != nullptr)
            {
                g_pCurrentModule->addSequence(new PDLSequence(g_pCurrentModule, *$2, static_cast<unsigned int>($4),
                                                              $7, $9, $10, $11));
            }
            else
            {
                delete $7;
                delete $9;
                deleteVariables($10);
                delete $11;
            }
            delete $2;
        }
    | SEQUENCE simple_variable ASSGNOP type_name STARTEVENT '(' identifier_list ')' when_construct
      local_variable_definition_list sequence_state_list END SEQUENCE
        {
            if (g_pCurrentModule != nullptr)
            {
                g_pCurrentModule->addSequence(new PDLSequence(g_pCurrentModule, *$2, *$4, $7, $9, $10, $11));
            }
            else
            {
                delete $7;
                delete $9;
                deleteVariables($10);
                delete $11;
            }
            delete $2;
            delete $4;
        }
    ;

when_construct
    : %empty { $$ = new PDLConditionTrue(); }
    | WHEN condition { $$ = $2; }
    ;

sequence_state_list
    : %empty { $$ = new PDLSequenceStateList(); }
    | sequence_state_list IDENTIFIER ':' sequence_code_block { $$ = $1; $$->addState(*$2, $4); delete $2; }
    ;

sequence_code_block
    : %empty { $$ = new PDLCodeBlock(); }
    | sequence_code_block sequence_event_construct { $$ = $1; $$->addCommand($2); }
    ;

sequence_event_construct
    : EVENT '(' sequence_event_list ')' CS_SEQUENCE_EVT_BLOCK_START code_block CS_BLOCK_END END EVENT
        {
            $$ = new PDLCommandEvent($3, $6);
        }
    ;

sequence_event_list
    : %empty { $$ = new PDLConditionFalse(); }
    | sequence_event ',' sequence_event_list { $$ = new PDLConditionOr($1, $3); }
    | sequence_event { $$ = $1; }
    ;

sequence_event
    : function_id { $$ = new PDLConditionEvent($1); }
    | WIDGET '[' numeric_exp ']' '.' IDENTIFIER
        {
            $$ = new PDLConditionWidgetEvent(new PDLSetExpSingleValue($3), *$6);
            delete $6;
        }
    | WIDGET '[' set_exp ']' '.' IDENTIFIER
        {
            $$ = new PDLConditionWidgetEvent($3, *$6);
            delete $6;
        }
    ;

/* ---- Block markers and statement checks ---- */

CS_INIT_BLOCK_START
    : %empty { enterBlock(1); }
    ;

CS_WIDGET_BLOCK_START
    : %empty { enterBlock(287); }
    ;

CS_FCT_BLOCK_START
    : %empty { enterBlock(479); }
    ;

CS_SEQUENCE_EVT_BLOCK_START
    : %empty { enterBlock(253); }
    ;

CS_EVENT_BLOCK_START
    : %empty { enterBlock((allow_flags & ~2u) | 1u); }
    ;

CS_FOREACH_BLOCK_START
    : %empty { enterBlock(allow_flags & ~32u); }
    ;

CS_WHILE_BLOCK_START
    : %empty { enterBlock(allow_flags & ~32u); }
    ;

CS_BLOCK_END
    : %empty { leaveBlock(); }
    ;

CS_CHECK_CALL
    : %empty { $$ = checkAllowed(1, "call not allowed in this context"); }
    ;

CS_CHECK_WIDGET_EVENT
    : %empty { $$ = checkAllowed(2, "event not allowed in this context"); }
    ;

CS_CHECK_CONNECT
    : %empty { $$ = checkAllowed(4, "connect not allowed in this context"); }
    ;

CS_CHECK_SET_ATTR
    : %empty { $$ = checkAllowed(8, "set not allowed in this context"); }
    ;

CS_CHECK_FCT_CALL
    : %empty { $$ = checkAllowed(16, "fucntion call not allowed in this context"); }
    ;

CS_CHECK_SEQ_GOTO
    : %empty { $$ = checkAllowed(32, "goto not allowed in this context"); }
    ;

CS_CHECK_FOREIGN_CONNECT
    : %empty { $$ = checkAllowed(64, "connect to foreign widget not allowed in this context"); }
    ;

CS_CHECK_FOREIGN_SET_ATTR
    : %empty { $$ = checkAllowed(128, "set of foreign widget not allowed in this context"); }
    ;

CS_CHECK_EXIT
    : %empty { $$ = checkAllowed(256, "exit not allowed in this context"); }
    ;

/* ---- Code blocks and statements ---- */

code_block
    : %empty { $$ = new PDLCodeBlock(); }
    | code_block dump { $$ = $1; $$->addCommand($2); }
    | code_block print { $$ = $1; $$->addCommand($2); }
    | code_block println { $$ = $1; $$->addCommand($2); }
    | code_block value_assign { $$ = $1; $$->addCommand($2); }
    | code_block add_to_set { $$ = $1; $$->addCommand($2); }
    | code_block remove_from_set { $$ = $1; $$->addCommand($2); }
    | code_block if_construct { $$ = $1; $$->addCommand($2); }
    | code_block foreach_construct { $$ = $1; $$->addCommand($2); }
    | code_block while_construct { $$ = $1; $$->addCommand($2); }
    | code_block subscribe { $$ = $1; $$->addCommand($2); }
    | code_block getscale { $$ = $1; $$->addCommand($2); }
    | code_block unfold { $$ = $1; $$->addCommand($2); }
    | code_block set_state { $$ = $1; $$->addCommand($2); }
    | code_block send_event { $$ = $1; $$->addCommand($2); }
    | code_block delay { $$ = $1; $$->addCommand($2); }
    | code_block assign_slot { $$ = $1; $$->addCommand($2); }
    | code_block call CS_CHECK_CALL { $$ = $1; linkChecked($$, $2, $3); }
    | code_block connect CS_CHECK_CONNECT { $$ = $1; linkChecked($$, $2, $3); }
    | code_block set_attr CS_CHECK_SET_ATTR { $$ = $1; linkChecked($$, $2, $3); }
    | code_block trigger CS_CHECK_SET_ATTR { $$ = $1; linkChecked($$, $2, $3); }
    | code_block widget_event_construct CS_CHECK_WIDGET_EVENT { $$ = $1; linkChecked($$, $2, $3); }
    | code_block function_call CS_CHECK_FCT_CALL { $$ = $1; linkChecked($$, $2, $3); }
    | code_block sequence_connect CS_CHECK_FOREIGN_CONNECT { $$ = $1; linkChecked($$, $2, $3); }
    | code_block sequence_set_attr CS_CHECK_FOREIGN_SET_ATTR { $$ = $1; linkChecked($$, $2, $3); }
    | code_block sequence_trigger CS_CHECK_FOREIGN_SET_ATTR { $$ = $1; linkChecked($$, $2, $3); }
    | code_block GOTO IDENTIFIER CS_CHECK_SEQ_GOTO
        {
            $$ = $1;
            if ($4 != 0)
                $$->setGotoState(*$3);
            delete $3;
        }
    | code_block EXIT CS_CHECK_EXIT
        {
            $$ = $1;
            if ($3 != 0)
                $$->addCommand(new PDLCommandExit());
        }
    ;

dump
    : DUMP expression { $$ = new PDLCommandDump($2); }
    | DUMP set_exp { $$ = new PDLCommandDump($2); }
    ;

print
    : PRINT expression_list { $$ = new PDLCommandPrint(false, $2); }
    ;

println
    : PRINTLN expression_list { $$ = new PDLCommandPrint(true, $2); }
    ;

expression_list
    : expression_list ',' expression { $$ = $1; $$->push_back($3); }
    | expression { $$ = new PDLExpressionList(); $$->push_back($1); }
    ;

value_assign
    : variable VALASSIGN expression { $$ = new PDLCommandAssign($1, $3); }
    | set_variable VALASSIGN set_exp { $$ = new PDLCommandSetAssign($1, $3); }
    | variable INCROP
        {
            $$ = new PDLCommandAssign(
                $1, new PDLExpressionPlusOp(new PDLExpressionVariable(copyProto($1), nullptr),
                                            new PDLExpressionConstNumber(1)));
        }
    | variable DECROP
        {
            $$ = new PDLCommandAssign(
                $1, new PDLExpressionMinusOp(new PDLExpressionVariable(copyProto($1), nullptr),
                                             new PDLExpressionConstNumber(1)));
        }
    ;

add_to_set
    : set_variable ADD expression { $$ = new PDLCommandAddToSet($1, new PDLSetExpSingleValue($3)); }
    | set_variable ADD set_exp { $$ = new PDLCommandAddToSet($1, $3); }
    ;

set_variable
    : '&' IDENTIFIER { $$ = simpleProto(*$2, false, true, nullptr); delete $2; }
    ;

remove_from_set
    : set_variable REMOVE expression { $$ = new PDLCommandRemoveFromSet($1, new PDLSetExpSingleValue($3)); }
    | set_variable REMOVE set_exp { $$ = new PDLCommandRemoveFromSet($1, $3); }
    ;

if_construct
    : IF condition THEN code_block ELSE code_block END IF { $$ = new PDLCommandIf($2, $4, $6); }
    | IF condition THEN code_block elsif_construct END IF { $$ = new PDLCommandIf($2, $4, $5); }
    | IF condition THEN code_block END IF { $$ = new PDLCommandIf($2, $4, nullptr); }
    ;

elsif_construct
    : ELSIF condition THEN code_block ELSE code_block { $$ = new PDLCommandIf($2, $4, $6); }
    | ELSIF condition THEN code_block elsif_construct { $$ = new PDLCommandIf($2, $4, $5); }
    | ELSIF condition THEN code_block { $$ = new PDLCommandIf($2, $4, nullptr); }
    ;

foreach_construct
    : FOREACH simple_variable IN set_exp CS_FOREACH_BLOCK_START code_block CS_BLOCK_END END FOREACH
        {
            $$ = new PDLCommandForEach(*$2, $4, $6);
            delete $2;
        }
    ;

simple_variable
    : '$' IDENTIFIER { $$ = $2; }
    ;

while_construct
    : WHILE condition CS_WHILE_BLOCK_START code_block CS_BLOCK_END END WHILE { $$ = new PDLCommandWhile($2, $4); }
    ;

subscribe
    : SUBSCRIBE function_id { $$ = new PDLCommandSubscribe($2); }
    ;

getscale
    : GETSCALE '(' function_id ',' '$' IDENTIFIER '[' ']' ')'
        {
            $$ = new PDLCommandGetScale($3, *$6);
            delete $6;
        }
    ;

unfold
    : UNFOLD function_id { $$ = new PDLCommandUnfold($2); }
    ;

set_state
    : SET_STATE function_id expression { $$ = new PDLCommandSetState($2, $3); }
    ;

send_event
    : SEND_EVENT function_id { $$ = new PDLCommandSendEvent($2, nullptr); }
    | SEND_EVENT function_id '(' expression ')' { $$ = new PDLCommandSendEvent($2, $4); }
    ;

delay
    : DELAY expression { $$ = new PDLCommandDelay($2); }
    ;

assign_slot
    : variable ASSGN_SLOT expression { $$ = new PDLCommandAssignSlot($1, $3); }
    ;

call
    : CALL function_id '(' parameter_list ')' { $$ = new PDLCommandCall($2, $4); }
    ;

parameter_list
    : %empty { $$ = new PDLParameterList(); }
    | parameter_list parameter { $$ = $1; $$->push_back($2); }
    ;

parameter
    : expression '=' expression { $$ = new PDLParameter($1, $3); }
    ;

connect
    : CONNECT '(' IDENTIFIER ')' function_id
        {
            $$ = new PDLCommandConnect(*$3, $5);
            delete $3;
        }
    | CONNECT '(' IDENTIFIER ',' '$' IDENTIFIER '[' ']' ')' function_id
        {
            // The class takes the scaler's name first, then the attribute.
            $$ = new PDLCommandScaledConnect(*$6, *$3, $10);
            delete $3;
            delete $6;
        }
    ;

set_attr
    : SET_ATTR '(' IDENTIFIER ')' expression
        {
            $$ = new PDLCommandSetAttribute(*$3, $5);
            delete $3;
        }
    ;

trigger
    : TRIGGER '(' IDENTIFIER ')'
        {
            $$ = new PDLCommandTrigger(*$3, nullptr);
            delete $3;
        }
    ;

widget_event_construct
    : EVENT '(' event_list ')' CS_EVENT_BLOCK_START code_block CS_BLOCK_END END EVENT
        {
            $$ = new PDLCommandEvent($3, $6);
        }
    ;

event_list
    : %empty { $$ = new PDLConditionFalse(); }
    | event ',' event_list { $$ = new PDLConditionOr($1, $3); }
    | event { $$ = $1; }
    ;

event
    : function_id { $$ = new PDLConditionEvent($1); }
    ;

function_call
    : IDENTIFIER '(' ')'
        {
            $$ = new PDLCommandFunctionCall(*$1, nullptr);
            delete $1;
        }
    | IDENTIFIER '(' argument_list ')'
        {
            $$ = new PDLCommandFunctionCall(*$1, $3);
            delete $1;
        }
    ;

argument_list
    : argument_list ',' expression { $$ = $1; $$->push_back($3); }
    | argument_list ',' set_exp { $$ = $1; $$->push_back($3); }
    | expression { $$ = new PDLArgumentList(); $$->push_back($1); }
    | set_exp { $$ = new PDLArgumentList(); $$->push_back($1); }
    ;

sequence_connect
    : CONNECT '(' WIDGET '[' numeric_exp ']' '.' IDENTIFIER ')' function_id
        {
            $$ = new PDLCommandConnect($5, *$8, $10);
            delete $8;
        }
    | CONNECT '(' WIDGET '[' numeric_exp ']' '.' IDENTIFIER ',' '$' IDENTIFIER '[' ']' ')' function_id
        {
            $$ = new PDLCommandScaledConnect($5, *$11, *$8, $15);
            delete $8;
            delete $11;
        }
    ;

sequence_set_attr
    : SET_ATTR '(' WIDGET '[' numeric_exp ']' '.' IDENTIFIER ')' expression
        {
            $$ = new PDLCommandSetAttribute($5, *$8, $10);
            delete $8;
        }
    ;

sequence_trigger
    : TRIGGER '(' WIDGET '[' numeric_exp ']' '.' IDENTIFIER ')'
        {
            $$ = new PDLCommandTrigger($5, *$8, nullptr);
            delete $8;
        }
    ;

/* ---- Expressions ---- */

expression
    : FLOATVAL { $$ = new PDLExpressionConstFloat($1); }
    | function_id { $$ = new PDLExpressionFunctionId($1); }
    | '$' '(' WIDGET '[' numeric_exp ']' '.' IDENTIFIER ')'
        {
            $$ = new PDLExpressionWidgetRef($5, *$8);
            delete $8;
        }
    | NUMBER { $$ = new PDLExpressionConstNumber($1); }
    | expression APPEND expression { $$ = new PDLExpressionAppend($1, $3); }
    | expression CUTLEFT expression { $$ = new PDLExpressionSubExp(PDLExpressionSubExp::CUTLEFT, $1, $3); }
    | expression CUTRIGHT expression { $$ = new PDLExpressionSubExp(PDLExpressionSubExp::CUTRIGHT, $1, $3); }
    | expression GETLEFT expression { $$ = new PDLExpressionSubExp(PDLExpressionSubExp::GETLEFT, $1, $3); }
    | expression GETRIGHT expression { $$ = new PDLExpressionSubExp(PDLExpressionSubExp::GETRIGHT, $1, $3); }
    | TEXTVAL { $$ = new PDLExpressionConstString(*$1); delete $1; }
    | GET function_id { $$ = new PDLExpressionGet($2); }
    | expression PLUSOP expression { $$ = new PDLExpressionPlusOp($1, $3); }
    | expression MINUSOP expression { $$ = new PDLExpressionMinusOp($1, $3); }
    | expression MULTOP expression { $$ = new PDLExpressionMultiplicationOp($1, $3); }
    | expression DIVOP expression { $$ = new PDLExpressionDivisionOp($1, $3); }
    | expression MODOP expression { $$ = new PDLExpressionModuloOp($1, $3); }
    | STRLEN expression { $$ = new PDLExpressionStrLen($2); }
    | STRCMP '(' expression ',' expression ')' { $$ = new PDLExpressionStrCmp($3, $5); }
    | SCALE '(' expression ',' '$' IDENTIFIER '[' ']' ')'
        {
            $$ = new PDLExpressionScale($3, *$6, false);
            delete $6;
        }
    | INVSCALE '(' expression ',' '$' IDENTIFIER '[' ']' ')'
        {
            $$ = new PDLExpressionScale($3, *$6, true);
            delete $6;
        }
    ;

function_id
    : function_id '.' string_exp { $$ = $1; $$->push_back($3); }
    | string_exp { $$ = new PDLExpressionList(); $$->push_back($1); }
    ;

string_exp
    : IDENTIFIER { $$ = new PDLExpressionIdentifier(*$1); delete $1; }
    | '(' expression ')' { $$ = $2; }
    | variable { $$ = new PDLExpressionVariable($1, nullptr); }
    | '$' '(' IDENTIFIER '.' string_exp ')'
        {
            $$ = new PDLExpressionVariable(simpleProto(*$3, false, false, nullptr), $5);
            delete $3;
        }
    | '$' '(' IDENTIFIER '[' expression ']' '.' string_exp ')'
        {
            $$ = new PDLExpressionVariable(simpleProto(*$3, true, false, $5), $8);
            delete $3;
        }
    ;

variable
    : '$' IDENTIFIER { $$ = simpleProto(*$2, false, false, nullptr); delete $2; }
    | '$' IDENTIFIER '[' expression ']' { $$ = simpleProto(*$2, true, false, $4); delete $2; }
    ;

numeric_exp
    : NUMBER { $$ = new PDLExpressionConstNumber($1); }
    | FLOATVAL { $$ = new PDLExpressionConstFloat($1); }
    | variable { $$ = new PDLExpressionVariable($1, nullptr); }
    | '$' '(' IDENTIFIER '.' string_exp ')'
        {
            $$ = new PDLExpressionVariable(simpleProto(*$3, false, false, nullptr), $5);
            delete $3;
        }
    | '$' '(' IDENTIFIER '[' expression ']' '.' string_exp ')'
        {
            $$ = new PDLExpressionVariable(simpleProto(*$3, true, false, $5), $8);
            delete $3;
        }
    ;

set_exp
    : type_name { $$ = new PDLSetExpType(*$1, nullptr); delete $1; }
    | '@' '(' IDENTIFIER '.' string_exp ')' { $$ = new PDLSetExpType(*$3, $5); delete $3; }
    | '$' IDENTIFIER '[' ']' { $$ = new PDLSetExpVariable(simpleProto(*$2, true, false, nullptr), nullptr); delete $2; }
    | '$' '(' IDENTIFIER '[' ']' '.' string_exp ')'
        {
            $$ = new PDLSetExpVariable(simpleProto(*$3, true, false, nullptr), $7);
            delete $3;
        }
    | true_set_exp { $$ = $1; }
    ;

true_set_exp
    : '&' IDENTIFIER { $$ = new PDLSetExpVariable(simpleProto(*$2, false, true, nullptr), nullptr); delete $2; }
    | '&' '(' IDENTIFIER '.' string_exp ')'
        {
            $$ = new PDLSetExpVariable(simpleProto(*$3, false, true, nullptr), $5);
            delete $3;
        }
    | '{' value_list '}' { $$ = new PDLSetExpConstSet($2); }
    | '{' '}' { $$ = new PDLSetExpConstSet(); }
    ;

/* ---- Conditions ---- */

condition
    : condition AND condition { $$ = new PDLConditionAnd($1, $3); }
    | condition OR condition { $$ = new PDLConditionOr($1, $3); }
    | NOT condition { $$ = new PDLConditionNot($2); }
    | '(' condition ')' { $$ = $2; }
    | expression NEQ expression { $$ = new PDLConditionNEq($1, $3); }
    | expression '=' expression { $$ = new PDLConditionEq($1, $3); }
    | expression IN set_exp { $$ = new PDLConditionIn($1, $3); }
    | variable ASSGNOP set_exp { $$ = new PDLConditionAssign($1, $3); }
    | true_set_exp NEQ true_set_exp { $$ = new PDLConditionNot(new PDLConditionSetEq($1, $3)); }
    | true_set_exp '=' true_set_exp { $$ = new PDLConditionSetEq($1, $3); }
    | expression NUMEQ expression { $$ = new PDLConditionNumCompare(PDLConditionNumCompare::kEqual, $1, $3); }
    | expression LESSOP expression { $$ = new PDLConditionNumCompare(PDLConditionNumCompare::kLess, $1, $3); }
    | expression LESSEQOP expression
        {
            $$ = new PDLConditionNumCompare(PDLConditionNumCompare::kLessEqual, $1, $3);
        }
    | expression GREATEROP expression
        {
            $$ = new PDLConditionNumCompare(PDLConditionNumCompare::kGreater, $1, $3);
        }
    | expression GREATEREQOP expression
        {
            $$ = new PDLConditionNumCompare(PDLConditionNumCompare::kGreaterEqual, $1, $3);
        }
    | ISVALID '(' expression ')' { $$ = new PDLConditionIsValid($3); }
    ;

%%

uint32_t allow_flags = 0;
std::list<uint32_t> flag_stack;

namespace
{
// Reports a refused statement with the line of the token that follows it. A statement whose end the
// parser reduced by default has not read that token yet: it is read here (as the parser would next)
// so that the message carries its line. Codes below 1 are the end of input, as for the parser.
void reportAfterStatement(char const* pMessage)
{
    if (yychar == YYEMPTY)
    {
        int const token = yylex();
        yychar = token < 1 ? YYEOF : token;
    }
    yyerror(pMessage);
}

// The end of a guarded statement: 1 when its permission bit is set, otherwise the message and 0.
int checkAllowed(uint32_t bit, char const* pMessage)
{
    if ((allow_flags & bit) != 0)
    {
        return 1;
    }
    reportAfterStatement(pMessage);
    return 0;
}

// The syntax error names of the symbols: bison's own names for the end of input and an unknown byte
// are replaced by the language's.
char const* symbolName(yysymbol_kind_t symbol)
{
    switch (symbol)
    {
    case YYSYMBOL_YYEOF:
        return "$end";
    case YYSYMBOL_YYerror:
    case YYSYMBOL_YYUNDEF:
        return "$undefined";
    default:
        return yysymbol_name(symbol);
    }
}
} // namespace

// "syntax error, unexpected X", with ", expecting A or B ..." when the state where the error was
// noticed shifts at most four tokens. The list is in token order.
static int yyreport_syntax_error(yypcontext_t const* pContext)
{
    yysymbol_kind_t expected[4];
    int const count = yypcontext_expected_tokens(pContext, expected, 4);
    if (count < 0)
    {
        return count;
    }
    try
    {
        std::string message = "syntax error, unexpected ";
        message += symbolName(yypcontext_token(pContext));
        for (int i = 0; i < count; ++i)
        {
            message += i == 0 ? ", expecting " : " or ";
            message += symbolName(expected[i]);
        }
        yyerror(message.c_str());
    }
    catch (std::bad_alloc const&)
    {
        yyerror("syntax error");
    }
    return 0;
}

void yyerror(char const* pMessage)
{
    if (!g_lexFilePath.isEmpty())
    {
        std::cerr << g_lexFilePath.getString() << "(" << yylineno << "): " << pMessage << std::endl;
    }
    ++PDLParseInfo::m_errorCount;
}
