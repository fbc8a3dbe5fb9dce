#pragma once

// The script interface of the graphics module: one define function per binding file
// (<Name>Bindings.cpp defines define_<name>()), called in this order by Module.cpp: a
// base class always before the classes derived from it.
#include "core/python/support/Helpers.h"
#include "core/python/support/IndexProxy.h"
#include "core/python/support/ObjectWrapper.h"

namespace engine::graphics::python {

void define_transform();       // Transform
void define_skeleton();        // SkeletonJointProxy, Skeleton
void define_scene_object();    // SceneObject, subclassable
void define_actor_mesh();      // ActorMesh
void define_actor();           // ActorMeshProxy, Actor
void define_actor_database();  // actor_database
void define_particle_system(); // particle_database, ParticleEmitter, ParticleEmitterProxy, ParticleSystem
void define_sprite();          // SpriteProxy, Sprite, sprite_database
void define_animator();        // SceneObjectAnimator and each kind of animator
void define_scene();           // Scene, ScaleFlag
void define_scene_layer();     // SceneLayer, SceneLayerProxy
void define_scene_listener();  // SceneListener, subclassable
void define_texture();         // Texture, TextureDatabase, texture_loader
void define_actor_controller();                  // ActorController, subclassable
void define_actor_controller_dynamics();         // DynamicsBody, ActorControllerDynamics
void define_actor_controller_ik();               // the IK handle proxies, ActorControllerIK
void define_actor_controller_shared_skeleton();  // ActorControllerSharedSkeleton
void define_actor_controller_animation();        // ActorControllerAnimation
void define_actor_controller_stack();            // ActorControllerStack
void define_ik_constraint();  // IKConstraintPosition, ...Fixed, ...Hold, IKConstraintRotation, ...Fixed
void define_framebuffer();     // Framebuffer, FramebufferDisplay
void define_text();            // Text
void define_run();             // run, the frame loop of a small game
void define_gl_state();        // GLState, the baseline every draw path keeps

/// Lets data files and the engine make objects of the script classes registered with the
/// factory (ObjectMaker.cpp); called once by the module entry.
void install_object_maker();

// The shared helpers by their short names.
namespace bp = boost::python;
using core::python::get_item;
using core::python::Held;
using core::python::ObjectWrapper;
using core::python::overloaded;
using core::python::overrides;
using core::python::Proxy;
using core::python::raise;
using core::python::register_with_factory;
using core::python::require;
using core::python::set_item;
using core::python::to_python;

}  // namespace engine::graphics::python
