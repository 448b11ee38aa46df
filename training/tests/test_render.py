"""What the renderer promises to training."""

import unittest

import numpy as np

from render import dirt, distractors, floors, scene

SIZE = (160, 120)


class SpriteTest(unittest.TestCase):
    def check(self, sprite, name: str) -> None:
        shape = sprite.mask.shape
        self.assertEqual(sprite.mask.dtype, bool, name)
        self.assertTrue(sprite.mask.any(), f"{name} has an empty mask")
        self.assertEqual(sprite.opacity.shape, shape, name)
        self.assertEqual(np.broadcast_shapes(sprite.colour.shape, (*shape, 3)), (*shape, 3), name)
        for part in (sprite.opacity, sprite.colour, sprite.film, sprite.height, sprite.gloss):
            if part is not None:
                self.assertTrue(np.isfinite(part).all(), name)
        self.assertTrue(0 <= sprite.opacity.min() and sprite.opacity.max() <= 1.001, name)

    def test_every_kind_of_dirt_is_well_formed(self) -> None:
        for name, kinds in dirt.DIRT.items():
            for kind in set(kinds):
                for seed in range(4):
                    self.check(
                        kind(np.random.default_rng(seed)), f"{name}: {kind.__name__}({seed})"
                    )

    def test_every_other_thing_is_well_formed(self) -> None:
        for name, kind in distractors.DISTRACTORS.items():
            for seed in range(3):
                self.check(kind(np.random.default_rng(seed)), f"{name}({seed})")


class FloorTest(unittest.TestCase):
    def test_every_style_fills_the_picture(self) -> None:
        for style in floors.FLOORS:
            floor = floors.render_floor(np.random.default_rng(3), SIZE, style)
            self.assertEqual(floor.shape, (120, 160, 3), style)
            self.assertTrue(np.isfinite(floor).all(), style)

    def test_training_never_shows_what_is_held_out(self) -> None:
        self.assertFalse(set(floors.TRAINED) & set(floors.HELD_OUT))
        self.assertFalse(set(floors.PLAIN_STYLES) & set(floors.HELD_OUT))
        self.assertEqual(set(floors.TRAINED) | set(floors.HELD_OUT), set(floors.FLOORS))


class SceneTest(unittest.TestCase):
    def rendered(self, seed: int, dirt_count: int = 3) -> scene.Scene:
        content = scene.Content(dirt_count, 2, floors.TRAINED)
        return scene.render(np.random.default_rng(seed), (320, 320), content)

    def test_a_seed_gives_one_picture(self) -> None:
        one, same, other = self.rendered(1), self.rendered(1), self.rendered(2)
        np.testing.assert_array_equal(one.picture, same.picture)
        np.testing.assert_array_equal(one.owners, same.owners)
        self.assertTrue((one.picture != other.picture).any())

    def test_the_map_names_things_of_the_list_only(self) -> None:
        made = self.rendered(5)
        self.assertLessEqual(
            set(np.unique(made.owners)) - {0}, {thing.number for thing in made.things}
        )
        self.assertTrue(any(thing.label >= 0 for thing in made.things))

    def test_a_clean_scene_has_no_dirt(self) -> None:
        self.assertFalse([thing for thing in self.rendered(6, 0).things if thing.label >= 0])

    def test_pasted_dirt_changes_a_photograph_only_where_it_lies(self) -> None:
        photograph = np.full((240, 320, 3), 150, np.uint8)
        made = scene.paste(np.random.default_rng(8), photograph, scene.Content(2, 0, {}))
        changed = (np.abs(made.picture.astype(int) - 150).max(axis=2) > 40) & (made.owners == 0)
        self.assertTrue((made.owners > 0).any())
        self.assertLess(changed.mean(), 0.1)
