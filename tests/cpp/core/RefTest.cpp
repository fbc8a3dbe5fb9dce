#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/SharedObject.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using engine::core::make_ref;
using engine::core::Object;
using engine::core::Ref;
using engine::core::SharedObject;
using engine::core::WeakRef;

namespace {

// Sets a flag when destroyed.
class Probe : public Object {
public:
    explicit Probe(bool& destroyed) : destroyed_(destroyed) {}
    ~Probe() override { destroyed_ = true; }

private:
    bool& destroyed_;  // the test's flag
};

class Resource : public SharedObject {
public:
    explicit Resource(bool& destroyed) : destroyed_(destroyed) {}
    ~Resource() override { destroyed_ = true; }

private:
    bool& destroyed_;
};

// Stands for a script object: what the self hooks did to it.
struct FakeSelf {
    int kept = 0;
    std::vector<Object*> owned;  // Refs the "script object" holds, released when its count reaches 0
};

FakeSelf* fake_self = nullptr;

// An Object with a self, as the script wrapper makes one.
class WithSelf : public Probe {
public:
    WithSelf(bool& destroyed, PyObject* self) : Probe(destroyed) { bind_python_self(self); }
};

// The script object's own holder, which goes when nothing keeps the script object.
Ref<WithSelf>* python_holder = nullptr;

void keep(PyObject*) { ++fake_self->kept; }
void release(PyObject*) {
    // The script object's count falls to 0 when no script variable holds it: its Ref goes.
    if (--fake_self->kept == 0 && python_holder) python_holder->reset();
}

class SelfHooks : public ::testing::Test {
protected:
    void SetUp() override {
        fake_self = &state_;
        Object::set_self_hooks({&keep, &release});
    }
    void TearDown() override {
        Object::set_self_hooks({nullptr, nullptr});
        fake_self = nullptr;
        python_holder = nullptr;
    }
    FakeSelf state_;
};

PyObject* const kSelf = reinterpret_cast<PyObject*>(&fake_self);  // any address: never dereferenced

}  // namespace

TEST(Ref, TheLastHolderDeletesAnObjectMadeWithNew) {
    bool destroyed = false;
    Ref<Probe> first = make_ref<Probe>(destroyed);
    Ref<Probe> second = first;
    EXPECT_EQ(first->get_ref_count(), 2);
    first.reset();
    EXPECT_FALSE(destroyed);
    second.reset();
    EXPECT_TRUE(destroyed);
}

TEST(Ref, MovesHandTheReferenceOver) {
    bool destroyed = false;
    Ref<Probe> first = make_ref<Probe>(destroyed);
    Ref<Probe> second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(second->get_ref_count(), 1);
    second = Ref<Probe>();
    EXPECT_TRUE(destroyed);
}

TEST(Ref, AnObjectOnTheStackIsCountedButNeverDeletedByItsHolders) {
    bool destroyed = false;
    {
        Probe probe(destroyed);
        { const Ref<Probe> held(&probe); }
        EXPECT_EQ(probe.get_ref_count(), 0);
        EXPECT_FALSE(destroyed);
    }
    EXPECT_TRUE(destroyed);  // by its scope
}

TEST(Ref, ReadsAsThePointerItHolds) {
    bool destroyed = false;
    const Ref<Probe> held = make_ref<Probe>(destroyed);
    const Probe* raw = held;
    EXPECT_EQ(raw, held.get());
    const Ref<Object> base = held;  // Ref<Derived> to Ref<Base>
    EXPECT_EQ(held->get_ref_count(), 2);
}

TEST(Ref, HoldsSharedObjectsToo) {
    bool destroyed = false;
    Ref<const Resource> held(new Resource(destroyed));
    Ref<const Resource> copy = held;
    EXPECT_EQ(held->get_ref_count(), 2);
    held.reset();
    copy.reset();
    EXPECT_TRUE(destroyed);
}

TEST(WeakRef, ReadsNullOnceItsTargetIsGone) {
    bool destroyed = false;
    Ref<Probe> held = make_ref<Probe>(destroyed);
    const WeakRef<Probe> link(held.get());
    WeakRef<Probe> copy = link;
    EXPECT_EQ(link.get(), held.get());
    held.reset();
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(link.get(), nullptr);
    EXPECT_EQ(copy.get(), nullptr);
}

TEST(WeakRef, DoesNotKeepItsTarget) {
    bool destroyed = false;
    Ref<Probe> held = make_ref<Probe>(destroyed);
    const WeakRef<Probe> link(held.get());
    EXPECT_EQ(held->get_ref_count(), 1);
    const Ref<Probe> locked = link.lock();
    EXPECT_EQ(held->get_ref_count(), 2);
}

Object* seen_in_destructor = nullptr;

TEST(WeakRef, ReadsNullWhileItsTargetIsBeingDestroyed) {
    // A destructor that reaches back through weak links finds nothing.
    struct Linked : Object {
        WeakRef<Object>* link = nullptr;
        ~Linked() override { seen_in_destructor = link->get(); }
    };
    auto* object = new Linked;
    WeakRef<Object> link(object);
    object->link = &link;
    Ref<Linked> held(object);
    seen_in_destructor = object;
    held.reset();
    EXPECT_EQ(seen_in_destructor, nullptr);
    EXPECT_EQ(link.get(), nullptr);
}

TEST(WeakRef, OutlivesItsTargetAndLetsGoOfItsAnchorLast) {
    bool destroyed = false;
    auto* link = new WeakRef<Probe>;
    {
        const Ref<Probe> held = make_ref<Probe>(destroyed);
        *link = WeakRef<Probe>(held.get());
    }
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(*link);
    delete link;  // frees the shared anchor (checked by the sanitizer build)
}

TEST_F(SelfHooks, TheSelfIsKeptWhileAnyOtherHolderExists) {
    bool destroyed = false;
    Ref<WithSelf> script(new WithSelf(destroyed, kSelf));  // the script object's holder
    python_holder = &script;
    EXPECT_EQ(state_.kept, 0);
    {
        const Ref<WithSelf> layer = script;  // an engine holder
        EXPECT_EQ(state_.kept, 1);
        const Ref<WithSelf> another = script;
        EXPECT_EQ(state_.kept, 1);
    }
    EXPECT_EQ(state_.kept, 0);
    EXPECT_TRUE(destroyed);  // nothing but the script object held it, and nothing kept that
}

// A native class whose constructor adds the object to a table, and the wrapper that
// binds its self afterwards, in the order a script wrapper's construction runs.
class Registering : public Probe {
public:
    Registering(bool& destroyed, Ref<Object>& table) : Probe(destroyed) { table = this; }
};
class RegisteringWrapper : public Registering {
public:
    RegisteringWrapper(bool& destroyed, Ref<Object>& table, PyObject* self) : Registering(destroyed, table) {
        bind_python_self(self);
    }
};

TEST_F(SelfHooks, HoldersTakenDuringConstructionKeepTheSelf) {
    bool destroyed = false;
    Ref<Object> table;
    auto* object = new RegisteringWrapper(destroyed, table, kSelf);
    EXPECT_EQ(state_.kept, 1);
    Ref<RegisteringWrapper> held(object);
    EXPECT_EQ(object->get_ref_count(), 2);
    table.reset();
    EXPECT_EQ(state_.kept, 0);
    EXPECT_FALSE(destroyed);  // the script object's holder still holds it
    held.reset();
    EXPECT_TRUE(destroyed);
}

TEST(Object, WithoutHooksNoObjectKeepsASelf) {
    bool destroyed = false;
    Ref<WithSelf> held(new WithSelf(destroyed, nullptr));
    const Ref<WithSelf> other = held;
    held.reset();
    EXPECT_FALSE(destroyed);
}

TEST(Object, ABlockWhoseObjectWasNeverBuiltIsNotClaimedLater) {
    // What `new` does when the constructor's arguments throw: the block is allocated,
    // then given back unbuilt.
    void* block = Probe::operator new(sizeof(Probe));
    Probe::operator delete(block);
    // A plain struct, most likely in that very block: its member is no object made
    // with new, and its holders must not delete it.
    struct Plain {
        explicit Plain(bool& destroyed) : probe(destroyed) {}
        Probe probe;
    };
    bool destroyed = false;
    auto* plain = new Plain(destroyed);
    { const Ref<Probe> held(&plain->probe); }
    EXPECT_FALSE(destroyed);
    delete plain;
    EXPECT_TRUE(destroyed);
}

TEST(Object, CountsTheLiveObjects) {
    const std::size_t before = Object::live_count();
    bool destroyed = false;
    {
        const Ref<Probe> held = make_ref<Probe>(destroyed);
        EXPECT_EQ(Object::live_count(), before + 1);
    }
    EXPECT_EQ(Object::live_count(), before);
}
