// Millions of vertices skinned per second over a 64-joint skeleton, four influences a
// vertex, for meshes of 1,000, 10,000 and 100,000 vertices; beside it, in the same run,
// the same skinning written in numpy (float32, vectorised over vertices and
// influences) in the embedded interpreter. Then the jiggle pass per vertex.
#include <Python.h>

#include "Timing.h"

#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/ActorMeshData.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <cstdio>
#include <memory>
#include <random>

using namespace engine::graphics;

namespace {

constexpr int kJoints = 64;

// A tree of 64 joints: each joint hangs from a random earlier one.
void build_skeleton(Skeleton& skeleton, std::mt19937& random) {
    std::uniform_real_distribution<float> offset(-20.0f, 20.0f);
    for (int j = 0; j < kJoints; ++j) {
        Transform* joint = skeleton.add_joint("j" + std::to_string(j));
        if (j > 0) skeleton.get_joint(unsigned(std::uniform_int_distribution<int>(0, j - 1)(random)))->attach(joint);
        joint->set_position({offset(random), offset(random)});
    }
    skeleton.generate_bind_transforms();
}

void pose(Skeleton& skeleton, std::mt19937& random) {
    std::uniform_real_distribution<float> angle(-0.5f, 0.5f);
    for (unsigned j = 0; j < skeleton.get_num_joints(); ++j) skeleton.get_joint(j)->set_rotation(angle(random));
}

std::unique_ptr<ActorMeshData> make_mesh(int vertices, std::mt19937& random, bool jiggle) {
    auto data = std::make_unique<ActorMeshData>("bench");
    std::uniform_real_distribution<float> position(-200.0f, 200.0f), weight(0.1f, 0.4f);
    std::uniform_int_distribution<int> joint(0, kJoints - 1);
    for (int v = 0; v < vertices; ++v) {
        ActorVertex vertex;
        vertex.position = {position(random), position(random)};
        for (int k = 0; k < 4; ++k) {
            vertex.joint_indices[k] = std::uint8_t(joint(random));
            vertex.joint_weights[k] = weight(random);
        }
        data->vertices.push_back(vertex);
    }
    if (jiggle) {
        auto soft = std::make_unique<Jiggle>("soft");
        soft->stiffness = 0.02f;
        soft->damping = 0.15f;
        soft->weights.assign(size_t(vertices), 1.0f);
        data->jiggles.push_back(std::move(soft));
    }
    return data;
}

// The numpy comparison, run in the embedded interpreter; prints its own line.
const char* kNumpy = R"(
import time
import numpy as np
F = np.float32
rng = np.random.default_rng(1)
mats = rng.uniform(-1, 1, (64, 6)).astype(F)
columns = [np.ascontiguousarray(mats[:, i]) for i in range(6)]  # world * bind per joint
def skin(p, idx, w):
    # The fastest of the numpy forms tried: one gather per coefficient, in-place sums.
    x, y = p[:, 0:1], p[:, 1:2]
    a, b, c, d, tx, ty = (column[idx] for column in columns)
    qx = a * x; qx += c * y; qx += tx
    qy = b * x; qy += d * y; qy += ty
    return np.stack([np.einsum("ij,ij->i", qx, w), np.einsum("ij,ij->i", qy, w)], axis=1)
def rate(n):
    p = rng.uniform(-200, 200, (n, 2)).astype(F)
    idx = rng.integers(0, 64, (n, 4))
    w = rng.uniform(0.1, 0.4, (n, 4)).astype(F)
    reps = max(1, 2_000_000 // n)
    best = float("inf")
    for _ in range(5):
        start = time.perf_counter()
        for _ in range(reps):
            skin(p, idx, w)
        best = min(best, (time.perf_counter() - start) / reps)
    return n / best / 1e6
numpy_rates = {n: rate(n) for n in (1_000, 10_000, 100_000)}
)";

double numpy_rate(int vertices) {
    PyObject* main = PyImport_AddModule("__main__");
    PyObject* globals = PyModule_GetDict(main);
    PyObject* rates = PyDict_GetItemString(globals, "numpy_rates");
    if (!rates) return 0.0;
    PyObject* key = PyLong_FromLong(vertices);
    PyObject* value = PyDict_GetItem(rates, key);
    Py_DECREF(key);
    return value ? PyFloat_AsDouble(value) : 0.0;
}

}  // namespace

int main() {
    Py_InitializeEx(0);
    const bool have_numpy = PyRun_SimpleString(kNumpy) == 0;

    std::mt19937 random(7);
    Skeleton skeleton;
    build_skeleton(skeleton, random);

    std::printf("skinning, 64 joints, 4 influences a vertex (million vertices per second)\n");
    std::printf("%10s %12s %12s %8s\n", "vertices", "engine", "numpy", "ratio");
    for (int vertices : {1'000, 10'000, 100'000}) {
        auto data = make_mesh(vertices, random, false);
        ActorMesh mesh;
        mesh.set_data(data.get());
        pose(skeleton, random);
        mesh.transform_vertices(&skeleton);  // sizes the arrays
        const long passes = std::max(1L, 20'000'000L / vertices);
        const double ns = bench::ns_per_call(passes, [&](long i) {
            skeleton.get_joint(0u)->set_rotation(0.001f * float(i & 63));  // a new pose each pass
            mesh.transform_vertices(&skeleton);
            bench::keep(mesh.get_positions().front());
        });
        const double engine = vertices / ns * 1e3;
        const double numpy = have_numpy ? numpy_rate(vertices) : 0.0;
        std::printf("%10d %12.1f %12.1f %7.1fx\n", vertices, engine, numpy, numpy > 0 ? engine / numpy : 0.0);
    }

    std::printf("\njiggle pass, every vertex on a moving spring (ns per vertex)\n");
    for (int vertices : {1'000, 100'000}) {
        auto data = make_mesh(vertices, random, true);
        ActorMesh mesh;
        mesh.set_data(data.get());
        mesh.transform_vertices(&skeleton);
        mesh.update(1.0f / 60.0f);  // makes the springs
        const long passes = std::max(1L, 5'000'000L / vertices);
        // The skeleton jumps away, so the springs have far to go.
        skeleton.get_joint(0u)->set_position({300.0f, 0.0f});
        mesh.transform_vertices(&skeleton);
        const double ns = bench::ns_per_call(passes, [&](long) { bench::keep(mesh.update(1.0f / 60.0f)); });
        std::printf("%10d %12.2f\n", vertices, ns / vertices);
    }
    Py_FinalizeEx();
    return 0;
}
