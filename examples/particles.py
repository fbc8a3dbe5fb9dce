"""A fountain under gravity and a sparkler carried round in a circle: particle systems
from an XML definition, emitting, moving and fading in C++."""
import io
import math
import tempfile

import libcore
import libgraphics
from libgraphics import ParticleSystem, SceneLayer, SceneObject

from _common import frames, images, open_window, run

# Sizes are half extents in pixels; colours fade over each particle's life (t 0 to 1).
PARTICLES = """<Particles>
  <ParticleSystemData id="fountain" layer="fx" gravity="0 160">
    <ParticleEmitterData emission_rate="400" spread="0.25" speed="220 300">
      <ParticleData life="2 2.6" size="3 3" texture="dot.png">
        <ColourCurve>
          <Keyframe key="0" value="0.6 0.9 1 1"/>
          <Keyframe key="1" value="0.1 0.3 1 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
  <ParticleSystemData id="sparkler" layer="fx" gravity="0 60">
    <ParticleEmitterData emission_rate="300" spread="3.14159" speed="20 90">
      <ParticleData life="0.3 0.8" size="2 2" texture="dot.png">
        <ColourCurve>
          <Keyframe key="0" value="1 1 0.8 1"/>
          <Keyframe key="0.5" value="1 0.6 0.1 1"/>
          <Keyframe key="1" value="1 0.2 0 0"/>
        </ColourCurve>
      </ParticleData>
    </ParticleEmitterData>
  </ParticleSystemData>
</Particles>"""


class Carrier(SceneObject):
    """Turns round a centre; whatever is attached to it goes round too."""

    def OnUpdate(self, dt):
        self.rotation = self.rotation + 1.5 * dt


def main():
    assets = tempfile.mkdtemp(prefix="engine-particles-")
    images.make_particle_assets(assets)
    libcore.PathDatabase.add_root(assets)
    window = open_window("particles")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("fx", 0))
    libgraphics.particle_database.load(io.StringIO(PARTICLES), "")

    fountain = ParticleSystem("fountain")
    fountain.position = (200, 440)
    carrier = Carrier()
    carrier.position = (460, 240)
    carrier.layer = "fx"
    sparkler = ParticleSystem("sparkler")
    sparkler.position = (0, -120)   # on the carrier's arm: its sparks trail its path
    carrier.attach(sparkler)
    # The emission limit bounds the fountain's records: dead particles are kept, not reused.
    fountain.emitters[0].emission_limit = 400 * 60
    sparkler.emitters[0].emission_limit = 300 * 60
    run(window, scene, frames())


if __name__ == "__main__":
    main()
