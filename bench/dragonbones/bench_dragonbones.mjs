// The DragonBones JavaScript runtime's own figure for bench_dragonbones.py: N mecha
// armatures (headless: no display objects) playing "walk", advanced F frames of 1/60 s.
//     node bench_dragonbones.mjs RUNTIME.mjs EXPORTS N F
import fs from "node:fs";
import path from "node:path";
import { pathToFileURL } from "node:url";

import { headlessFactory } from "../../tests/tools/dragonbones_headless.mjs";

const [runtimePath, exportsDir, count, frames] = process.argv.slice(2);
const db = await import(pathToFileURL(path.resolve(runtimePath)).href);
db.DragonBones.yDown = true;

const factory = headlessFactory(db);
const raw = JSON.parse(fs.readFileSync(path.join(exportsDir, "mecha_1502b", "mecha_1502b_ske.json"), "utf8"));
factory.parseDragonBonesData(raw, "mecha");
const armatures = [];
for (let i = 0; i < Number(count); ++i) {
    const armature = factory.buildArmature("mecha_1502b", "mecha");
    armature.animation.play("walk");
    armature.advanceTime(0.01 * (i % 7));
    armatures.push(armature);
}
for (let f = 0; f < 5; ++f) for (const a of armatures) a.advanceTime(1 / 60);
const start = process.hrtime.bigint();
for (let f = 0; f < Number(frames); ++f) for (const a of armatures) a.advanceTime(1 / 60);
const ms = Number(process.hrtime.bigint() - start) / 1e6 / Number(frames);
console.log(`ms per frame ${ms.toFixed(3)}`);
