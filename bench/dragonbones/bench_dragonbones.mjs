// The DragonBones JavaScript runtime's own figure for bench_dragonbones.py: N mecha
// armatures (headless: no display objects) playing "walk", advanced F frames of 1/60 s.
//     node bench_dragonbones.mjs RUNTIME.mjs EXPORTS N F
import fs from "node:fs";
import path from "node:path";
import { pathToFileURL } from "node:url";

const [runtimePath, exportsDir, count, frames] = process.argv.slice(2);
const db = await import(pathToFileURL(path.resolve(runtimePath)).href);
db.DragonBones.yDown = true;

class NullTextureData extends db.TextureData { static toString() { return "[class NullTextureData]"; } }
class NullAtlasData extends db.TextureAtlasData {
    static toString() { return "[class NullAtlasData]"; }
    createTexture() { return db.BaseObject.borrowObject(NullTextureData); }
}
class NullSlot extends db.Slot {
    static toString() { return "[class NullSlot]"; }
    _initDisplay() {} _disposeDisplay() {} _onUpdateDisplay() {} _addDisplay() {}
    _replaceDisplay() {} _removeDisplay() {} _updateZOrder() {} _updateVisible() {}
    _updateBlendMode() {} _updateColor() {} _updateFrame() {} _updateMesh() {}
    _updateGlueMesh() {} _updateTransform() {} _identityTransform() {}
}
class NullProxy {
    dbInit(armature) { this._armature = armature; }
    dbClear() { this._armature = null; }
    dbUpdate() {}
    dispose() {}
    get armature() { return this._armature; }
    get animation() { return this._armature.animation; }
    hasDBEventListener() { return false; }
    dispatchDBEvent() {}
    addDBEventListener() {}
    removeDBEventListener() {}
}
class HeadlessFactory extends db.BaseFactory {
    constructor() { super(); this._dragonBones = new db.DragonBones(new NullProxy()); }
    _buildTextureAtlasData(data) { return data || db.BaseObject.borrowObject(NullAtlasData); }
    _buildArmature(dataPackage) {
        const armature = db.BaseObject.borrowObject(db.Armature);
        const proxy = new NullProxy();
        armature.init(dataPackage.armature, proxy, proxy, this._dragonBones);
        return armature;
    }
    _buildSlot(dataPackage, slotData, displays) {
        const slot = db.BaseObject.borrowObject(NullSlot);
        slot.init(slotData, displays, {}, {});
        return slot;
    }
}

const factory = new HeadlessFactory();
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
