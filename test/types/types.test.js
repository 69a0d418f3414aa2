'use strict';

// The declarations: what a program may do with them, and that they declare what is there.

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const ts = require('typescript');

const sample = path.join(__dirname, 'sample.ts');
const program = ts.createProgram([sample], {
  strict: true,
  noEmit: true,
  module: ts.ModuleKind.NodeNext,
  target: ts.ScriptTarget.ES2022,
  types: [],
});

const text = ({ file, start, messageText }) =>
  `${path.basename(file?.fileName ?? '')}:${file?.getLineAndCharacterOfPosition(start).line + 1} ` +
  ts.flattenDiagnosticMessageText(messageText, '\n');

test('the sample compiles, but for the calls that must not', () => {
  assert.deepStrictEqual(ts.getPreEmitDiagnostics(program).map(text), []);
  assert.ok(fs.readFileSync(sample, 'utf8').match(/@ts-expect-error/g).length > 20);
});

/** The names of the values that a declaration file declares. */
function declared(file) {
  const checker = program.getTypeChecker();
  const source = program.getSourceFile(path.join(__dirname, '../..', file));
  return checker
    .getExportsOfModule(checker.getSymbolAtLocation(source))
    .filter((symbol) => symbol.flags & ts.SymbolFlags.Value)
    .map((symbol) => symbol.name)
    .sort();
}

for (const [file, name] of [
  ['libzaxbase/index.d.ts', 'zaxbase'],
  ['libzaxbase/runtime.d.ts', 'zaxbase/runtime'],
  ['echo/index.d.ts', 'echo'],
  ['echo/promises.d.ts', 'echo/promises'],
]) {
  test(`${file} declares what ${name} exports`, () => {
    assert.deepStrictEqual(declared(file), Object.keys(require(name)).sort());
  });
}
