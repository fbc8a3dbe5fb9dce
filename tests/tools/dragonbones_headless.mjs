// The DragonBones JavaScript runtime without a display layer, for the test-data
// generator (dragonbones_expected.mjs) and the benchmark peer
// (bench/dragonbones/bench_dragonbones.mjs): armatures are built and advanced, nothing
// is drawn.
//
//     const factory = headlessFactory(await import(runtimeUrl));

/** A factory of the runtime `db` (its module) whose armatures have no display objects. */
export function headlessFactory(db) {
    class NullTextureData extends db.TextureData {
        static toString() { return "[class NullTextureData]"; }
    }
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
        dispose() { if (this._armature) this._armature.dispose(); }
        get armature() { return this._armature; }
        get animation() { return this._armature.animation; }
        hasDBEventListener() { return false; }
        dispatchDBEvent() {}
        addDBEventListener() {}
        removeDBEventListener() {}
    }
    class HeadlessFactory extends db.BaseFactory {
        constructor() {
            super();
            this._dragonBones = new db.DragonBones(new NullProxy());
        }
        _buildTextureAtlasData(data) { return data || db.BaseObject.borrowObject(NullAtlasData); }
        _buildArmature(dataPackage) {
            const armature = db.BaseObject.borrowObject(db.Armature);
            const proxy = new NullProxy();
            armature.init(dataPackage.armature, proxy, proxy, this._dragonBones);
            return armature;
        }
        _buildSlot(dataPackage, slotData, displays, armature) {
            const slot = db.BaseObject.borrowObject(NullSlot);
            slot.init(slotData, displays, {}, {});
            return slot;
        }
    }
    return new HeadlessFactory();
}
