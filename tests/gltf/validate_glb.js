// Runs the Khronos glTF validator on each .glb named on the command line and fails when any
// of them has an error. Warnings and infos are printed, not counted.
'use strict';
const fs = require('fs');
const path = require('path');
const validator = require(path.join(process.env.GLTF_VALIDATOR_DIR, 'node_modules', 'gltf-validator'));

(async () => {
  let failed = 0;
  for (const file of process.argv.slice(2)) {
    const report = await validator.validateBytes(new Uint8Array(fs.readFileSync(file)), {maxIssues: 50});
    const { numErrors, numWarnings } = report.issues;
    console.log(`${file}: ${numErrors} errors, ${numWarnings} warnings`);
    for (const m of report.issues.messages)
      if (m.severity <= 1) console.log(`  ${m.severity === 0 ? 'error' : 'warning'} ${m.code} ${m.pointer || ''}: ${m.message}`);
    if (numErrors > 0) failed++;
  }
  process.exit(failed ? 1 : 0);
})().catch((e) => { console.error(e); process.exit(2); });
