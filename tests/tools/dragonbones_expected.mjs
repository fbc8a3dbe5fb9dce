// Test-data generator, not part of the engine and not run by `make test`: plays every
// armature and animation of the shared DragonBones exports in the DragonBones
// JavaScript runtime (installed from npm outside the repository) and writes what it
// shows at a few frames: each bone's world matrix, each slot's display index and
// colour multipliers, and the draw order. tests/python/test_dragonbones.py compares
// the engine against these files.
//
//     cd /somewhere && npm install @cocos/dragonbones-js
//     cp node_modules/@cocos/dragonbones-js/out/dragonBones.js dragonBones.mjs
//     node tests/tools/dragonbones_expected.mjs /somewhere/dragonBones.mjs data/dragonbones tests/data/dragonbones
import fs from "node:fs";
import path from "node:path";
import { pathToFileURL } from "node:url";

import { headlessFactory } from "./dragonbones_headless.mjs";

const [runtimePath, exportsDir, outDir] = process.argv.slice(2);
const db = await import(pathToFileURL(path.resolve(runtimePath)).href);
// The exports and the engine both have y pointing down; this build defaults to y up.
db.DragonBones.yDown = true;

const round = (v) => Math.round(v * 1e6) / 1e6;

function snapshot(armature) {
    const bones = {};
    for (const bone of armature.getBones()) {
        const m = bone.globalTransformMatrix;
        bones[bone.name] = [m.a, m.b, m.c, m.d, m.tx, m.ty].map(round);
    }
    const slots = {};
    for (const slot of armature.getSlots()) {
        const c = slot._colorTransform;
        slots[slot.name] = {
            display: slot.displayIndex,
            colour: [c.redMultiplier, c.greenMultiplier, c.blueMultiplier, c.alphaMultiplier].map(round),
        };
    }
    const order = armature.getSlots().slice().sort((a, b) => a._zOrder - b._zOrder).map((s) => s.name);
    return { bones, slots, order };
}

for (const folder of fs.readdirSync(exportsDir).sort()) {
    const dir = path.join(exportsDir, folder);
    if (!fs.statSync(dir).isDirectory()) continue;
    const skeletonFile = fs.readdirSync(dir).find((f) => f.endsWith("_ske.json"));
    const factory = headlessFactory(db);
    const raw = JSON.parse(fs.readFileSync(path.join(dir, skeletonFile), "utf8"));
    const data = factory.parseDragonBonesData(raw, folder);
    const result = { file: `${folder}/${skeletonFile}`, armatures: {} };
    for (const armatureName of data.armatureNames) {
        const armatureData = data.getArmature(armatureName);
        const fps = armatureData.frameRate;
        const setup = factory.buildArmature(armatureName, folder);
        setup.advanceTime(0);
        const entry = { frameRate: fps, setup: snapshot(setup), animations: {} };
        setup.dispose();
        for (const animationName of armatureData.animationNames) {
            const animation = armatureData.getAnimation(animationName);
            const duration = animation.frameCount;
            const looping = animation.playTimes === 0;
            const last = looping ? Math.max(duration - 1, 0) : duration;
            const frames = [...new Set([0, 1, 5, 15, 30, last])].sort((a, b) => a - b);
            const samples = {};
            for (const frame of frames) {
                const armature = factory.buildArmature(armatureName, folder);
                armature.animation.play(animationName);
                armature.advanceTime(0);
                if (frame > 0) armature.advanceTime(frame / fps);
                samples[frame] = snapshot(armature);
                armature.dispose();
            }
            entry.animations[animationName] = { duration, playTimes: animation.playTimes, samples };
        }
        result.armatures[armatureName] = entry;
    }
    fs.mkdirSync(outDir, { recursive: true });
    const out = path.join(outDir, `expected_${folder}.json`);
    fs.writeFileSync(out, JSON.stringify(result) + "\n");
    console.log(`${out}: ${Object.keys(result.armatures).length} armature(s)`);
}
