// Checks the TextMate grammar of PDL the way editors use it: it must be valid JSON, every scanner
// keyword must come out as a keyword, and every token of the given PDL sources (and of the examples
// of the guide) must carry a scope that the grammar declares, never the bare root scope. Sources
// given after --valid (and the guide's examples) are valid PDL: none of their tokens may be scoped as
// invalid; after --any they may (a test of a syntax error holds bytes the language does not know).
// Files with control bytes (enciphered sources) are skipped.
//
//   node tokenize.js GRAMMAR SCANNER GUIDE [--valid FILE...] [--any FILE...]
'use strict';

const fs = require('fs');
const path = require('path');
const vsctm = require('vscode-textmate');
const oniguruma = require('vscode-oniguruma');

const [grammarPath, scannerPath, guidePath, ...files] = process.argv.slice(2);
let failures = 0;
function fail(text) {
  console.log('FAIL: ' + text);
  failures++;
}

let grammarJson;
try {
  grammarJson = JSON.parse(fs.readFileSync(grammarPath, 'utf8'));
} catch (e) {
  console.log('FAIL: ' + grammarPath + ' is not valid JSON: ' + e.message);
  process.exit(1);
}

// Every scope the grammar can give: the root, rule names, content names and capture names.
const declared = new Set([grammarJson.scopeName]);
(function collect(node) {
  if (Array.isArray(node)) {
    node.forEach(collect);
  } else if (node && typeof node === 'object') {
    for (const [key, value] of Object.entries(node)) {
      if ((key === 'name' || key === 'contentName') && typeof value === 'string' && node !== grammarJson) {
        value.split(/\s+/).forEach((scope) => declared.add(scope));
      } else {
        collect(value);
      }
    }
  }
})(grammarJson);

const wasm = fs.readFileSync(path.join(path.dirname(require.resolve('vscode-oniguruma')), 'onig.wasm')).buffer;
const registry = new vsctm.Registry({
  onigLib: oniguruma.loadWASM(wasm).then(() => ({
    createOnigScanner: (patterns) => new oniguruma.OnigScanner(patterns),
    createOnigString: (text) => new oniguruma.OnigString(text),
  })),
  loadGrammar: async (scopeName) =>
    scopeName === grammarJson.scopeName ? vsctm.parseRawGrammar(fs.readFileSync(grammarPath, 'utf8'), grammarPath) : null,
});

function tokenize(grammar, text) {
  const tokens = [];
  let state = vsctm.INITIAL;
  text.split('\n').forEach((line, index) => {
    const result = grammar.tokenizeLine(line, state);
    for (const token of result.tokens) {
      tokens.push({ line: index + 1, text: line.substring(token.startIndex, token.endIndex), scopes: token.scopes });
    }
    state = result.ruleStack;
  });
  return tokens;
}

function checkSource(grammar, name, text, valid) {
  let count = 0;
  for (const token of tokenize(grammar, text)) {
    if (token.text.trim() === '') {
      continue;
    }
    count++;
    const unknown = token.scopes.filter((scope) => !declared.has(scope));
    if (unknown.length > 0) {
      fail(`${name}:${token.line}: "${token.text}" has unknown scopes ${unknown.join(' ')}`);
    } else if (valid && token.scopes.some((scope) => scope.startsWith('invalid.'))) {
      fail(`${name}:${token.line}: "${token.text}" is scoped as invalid`);
    } else if (token.scopes.length < 2) {
      fail(`${name}:${token.line}: "${token.text}" has no scope of its own`);
    }
  }
  return count;
}

registry.loadGrammar(grammarJson.scopeName).then((grammar) => {
  // The keywords of the language, from the scanner's own rules.
  const keywords = [...fs.readFileSync(scannerPath, 'utf8').matchAll(/^"([a-z]+)"\s/gm)].map((m) => m[1]);
  keywords.push('include');
  if (keywords.length < 50) {
    fail(`only ${keywords.length} keywords found in ${scannerPath}`);
  }
  for (const word of keywords) {
    const [token] = tokenize(grammar, word);
    const scope = token.scopes[token.scopes.length - 1];
    if (token.text !== word || !/^(keyword|storage|support)\./.test(scope)) {
      fail(`keyword "${word}" is scoped ${scope}`);
    }
  }

  // Examples of the guide, and the files given.
  let sources = 0;
  let tokens = 0;
  const guide = fs.readFileSync(guidePath, 'utf8');
  const blocks = [...guide.matchAll(/^```pdl( fails)?\n([\s\S]*?)^```$/gm)];
  blocks.forEach((block, index) => {
    tokens += checkSource(grammar, `${guidePath} example ${index + 1}`, block[2], true);
    sources++;
  });
  let valid = true;
  for (const file of files) {
    if (file === '--valid' || file === '--any') {
      valid = file === '--valid';
      continue;
    }
    const bytes = fs.readFileSync(file);
    if (bytes.some((b) => b < 9 || (b > 13 && b < 32))) {
      // Control bytes: an enciphered source, which no editor shows as PDL.
      console.log(`${file}: not text, skipped`);
      continue;
    }
    tokens += checkSource(grammar, file, bytes.toString('latin1'), valid);
    sources++;
  }
  console.log(`${keywords.length} keywords, ${sources} sources, ${tokens} tokens checked, ${failures} failures`);
  process.exit(failures === 0 ? 0 : 1);
});
