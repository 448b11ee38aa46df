"""What the renderer promises to training."""

import unittest

import numpy as np

from render import dirt, distractors, floors, scene, sprite

SIZE = (160, 120)


class SpriteTest(unittest.TestCase):
    def check(self, made: sprite.Sprite, name: str) -> None:
        shape = made.mask.shape
        self.assertEqual(made.mask.dtype, bool, name)
        self.assertTrue(made.mask.any(), f"{name} has an empty mask")
        self.assertEqual(made.opacity.shape, shape, name)
        self.assertEqual(np.broadcast_shapes(made.colour.shape, (*shape, 3)), (*shape, 3), name)
        for part in (made.opacity, made.colour, made.film, made.height, made.gloss):
            if part is not None:
                self.assertTrue(np.isfinite(part).all(), name)
        self.assertTrue(0 <= made.opacity.min() and made.opacity.max() <= 1.001, name)

    def test_every_kind_of_dirt_is_well_formed(self) -> None:
        for name, kinds in dirt.DIRT.items():
            for kind in set(kinds):
                for seed in range(4):
                    self.check(
                        kind(np.random.default_rng(seed)), f"{name}: {kind.__name__}({seed})"
                    )

    def test_a_liquid_shines_and_what_is_dry_does_not(self) -> None:
        def white_share(name: str, seed: int) -> float:
            made = dirt.make_dirt(np.random.default_rng(seed), name)
            shown = made.colour.min(axis=2) * made.opacity
            return float((shown[made.mask] > 0.35).mean())

        self.assertGreater(min(white_share("liquid spill", seed) for seed in range(30)), 0.02)
        for name in ("dried stain", "mud track", "solid waste"):
            pale = sum(white_share(name, seed) > 0.001 for seed in range(30))
            self.assertLess(pale, 6, name)  # dried mud

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

    def test_no_floor_is_too_lively(self) -> None:
        for style in floors.FLOORS:
            floor = floors.render_floor(np.random.default_rng(4), SIZE, style)
            self.assertLessEqual(floor.mean(axis=2).std(), 0.1001, style)

    def test_training_never_shows_what_is_held_out(self) -> None:
        self.assertFalse(set(floors.TRAINED) & set(floors.HELD_OUT))
        self.assertFalse(set(floors.PLAIN_STYLES) & set(floors.HELD_OUT))
        self.assertEqual(set(floors.TRAINED) | set(floors.HELD_OUT), set(floors.FLOORS))


class ChangeTest(unittest.TestCase):
    def test_a_thing_changes_brightness_by_its_contrast(self) -> None:
        floor = np.full((40, 40, 3), 0.2, np.float32)
        floor[:, ::2] = 0.4  # a texture with a deviation of 0.1
        light = sprite.Light(np.float32([0, 0, 1]), 0.5, np.zeros((40, 40), np.float32))
        cover = np.ones((10, 10), np.float32)
        thing = sprite.Sprite(cover > 0, cover, np.full((10, 10, 3), 0.9, np.float32))
        change = sprite.lay(sprite.Canvas(floor, light), thing, (4, 4), 1)
        self.assertAlmostEqual(change.mean, 0.6, places=5)
        self.assertAlmostEqual(change.texture, 0.1, places=5)

    def test_what_is_not_seen_is_taken_away_again(self) -> None:
        rng = np.random.default_rng(1)
        light = sprite.random_light(rng, SIZE)
        for grey, stays in ((0.48, True), (0.50, False)):  # a change of 0.12 and of 0.10
            canvas = sprite.Canvas(np.full((120, 160, 3), 0.6, np.float32), light)
            before = canvas.image.copy()
            cover = np.ones((20, 20), np.float32)
            thing = sprite.Sprite(cover > 0, cover, np.full((20, 20, 3), grey, np.float32))
            laid = scene.place(rng, canvas, thing, scene.Thing(1, 0, "hair"))
            self.assertEqual((laid, bool((canvas.image != before).any())), (stays, stays))


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
