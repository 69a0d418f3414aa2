'use strict';

// The declarations: what a program may do with them, and that they declare what is there.

const assert = require('node:assert');
const path = require('node:path');
const test = require('node:test');
const ts = require('typescript');

const options = { strict: true, noEmit: true, types: [], module: ts.ModuleKind.NodeNext };
const program = ts.createProgram([path.join(__dirname, 'sample.ts')], {
  ...options,
  target: ts.ScriptTarget.ES2022,
});

test('the sample compiles, but for the calls that must not', () => {
  const host = {
    getCanonicalFileName: String,
    getCurrentDirectory: () => __dirname,
    getNewLine: () => '\n',
  };
  assert.strictEqual(ts.formatDiagnostics(ts.getPreEmitDiagnostics(program), host), '');
});

test('what is declared is what is exported', () => {
  const checker = program.getTypeChecker();
  for (const [file, name] of [
    ['libzaxbase/index.d.ts', 'zaxbase'],
    ['libzaxbase/runtime.d.ts', 'zaxbase/runtime'],
    ['echo/index.d.ts', 'echo'],
    ['echo/promises.d.ts', 'echo/promises'],
  ]) {
    const source = program.getSourceFile(path.join(__dirname, '../..', file));
    const symbols = checker.getExportsOfModule(checker.getSymbolAtLocation(source));
    const declared = symbols.filter(({ flags }) => flags & ts.SymbolFlags.Value);
    assert.deepStrictEqual(
      declared.map((symbol) => symbol.name).sort(),
      Object.keys(require(name)).sort(),
    );
  }
});
