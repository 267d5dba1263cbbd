# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import quantised_lstm as q
from model_file import gates_from_file, gates_to_file


def net(kind, **changed):
    """Four inputs (one value a frame), 4 cells, 4 hidden units, everything zero but what is changed."""
    parts = dict(mean=np.zeros(1), inv_std=np.ones(1), prior=np.tile([0.5, 0.5], 4), wx=np.zeros((16, 4)), wr=np.zeros((16, 96)),
                 wp=np.zeros((96, 4)), bias=np.zeros(16), peepholes=np.zeros((3, 4)), fc=np.zeros((4, 480)), fc_bias=np.zeros(4),
                 out=np.zeros((8, 4)), out_bias=np.zeros(8))
    parts.update(changed)
    parts = {name: np.asarray(value, np.float32) for name, value in parts.items()}
    scales = np.array([2, 2, 2, 2, 2, 8, 2, 1, 2], np.float32) if kind == "lstm_fb40" else None
    return q.Lstm(kind=kind, scales=scales, **parts)


def gate_bias(i=0.0, f=0.0, o=0.0, c=0.0):
    return np.repeat([i, f, o, c], 4)


LIVE = np.ones((1, 1), bool)
BLOCK = np.zeros((1, 4), np.float32)


class Conversions(unittest.TestCase):
    def test_fixed16_adds_a_half_on_both_sides_and_wraps(self):
        self.assertEqual(list(q.fixed16(np.array([-0.75, 0.75, 1.0]), 1)), [-1, 2, 2])
        self.assertEqual(q.fixed16(np.array([1.0]), 15)[0], -32768)

    def test_ranges_end_at_127_and_minus_128(self):
        self.assertEqual(list(q.quantise(np.array([3.0, -3.0, 9.0]), 128.0, 3.0)), [127, -128, 127])
        self.assertEqual(list(q.quantise_weights(np.array([2.0, -2.0, 1.0]), 128.0, 2.0)), [127, -128, 64])

    def test_halves_leave_zero(self):
        self.assertEqual(list(q.quantise(np.array([0.5, -0.5, 1.5]), 128.0, 128.0)), [1, -1, 2])

    def test_file_order_is_cell_input_forget_output(self):
        x = np.array([1.0, 2.0, 3.0, 4.0])  # input, forget, output, cell
        self.assertEqual(list(gates_to_file(x)), [4.0, 1.0, 2.0, 3.0])
        self.assertEqual(list(gates_from_file(gates_to_file(x))), list(x))

    def test_scaled_static_values_never_leave_the_input_range(self):
        rng = np.random.default_rng(3)
        mean, inv_std = q.static_scaling(rng.uniform(0, 30, 40), np.full(40, 0.1))
        for corner in (0.0, q.BANK_RANGE):
            self.assertLess(np.abs((corner - mean) * inv_std).max(), 8.0)


class EightBitProduct(unittest.TestCase):
    def test_four_weights_of_32_fit_and_of_33_do_not(self):
        self.assertFalse(q.can_saturate(np.full((1, 4), 32)))  # 255 * 128 = 32640
        self.assertTrue(q.can_saturate(np.full((1, 4), 33)))  # 255 * 132 = 33660
        self.assertFalse(q.can_saturate(np.array([[127, -128, 1, 0]])))  # signs are counted apart: 32640 and -32640

    def test_a_pair_clips_at_16_bits(self):
        w = np.array([[127, 127, 0, 0]])
        self.assertEqual(q.product8(np.full((1, 4), 127), w, True)[0, 0], 32767)  # 255 * 254 = 64770
        self.assertEqual(q.product8(np.full((1, 4), 127), w, False)[0, 0], 64770)

    def test_two_pairs_clip_together(self):
        self.assertEqual(q.product8(np.full((1, 4), 127), np.full((1, 4), 64), True)[0, 0], 32767)  # 32640 twice

    def test_the_two_ways_agree_where_nothing_clips(self):
        rng = np.random.default_rng(1)
        x, w = rng.integers(-128, 128, (3, 16)), rng.integers(-32, 33, (5, 16))
        np.testing.assert_array_equal(q.product8(x, w, True), q.product8(x, w, False))

    def test_correction_cancels_what_zeros_add(self):
        form = q.Int8Form(net("lstm_fb40", wr=np.linspace(-0.4, 0.3, 16 * 96).reshape(16, 96)))
        np.testing.assert_array_equal(form.product("wr", np.zeros((2, 96), np.int64)), np.zeros((2, 16), np.float32))


class FixedStep(unittest.TestCase):
    def test_one_step_by_hand(self):
        # i and o: sigmoid(10) = 0.99995460 -> 16383.26 + 0.5 -> 16383. Cell input: tanh(1) = 0.76159416 -> 389.94 + 0.5 -> 390.
        # c = 16383 * 390 >> 14 = 389. t = tanh(389 / 512) = 0.6409388 -> 10501.14 + 0.5 -> 10501.
        # m = 10501 * 16383 / 8192 = 21000.7 -> 21001. r = 21001 * 16384 / 131072 + 0.5 = 2625.625 -> 2625.
        wp = np.zeros((96, 4))
        wp[0, 0] = 1.0
        form = q.FixedForm(net("lstm_fb75", wp=wp, bias=gate_bias(i=10, o=10, c=1)))
        form.start(1)
        form.layer(BLOCK, q.Counts(), LIVE)
        self.assertEqual(form.c[0, 0], 389)
        self.assertEqual(form.t[0, 0], 10501)
        self.assertEqual(form.r[0, 0], 2625)
        self.assertEqual(form.r[0, 1], 0)

    def test_output_peephole_sees_the_new_tanh_and_input_peephole_the_old_one(self):
        # Old t is 0 in the first step, so only the output gate moves: 10501 * 8192 >> 17 = 656 added to it.
        # sigmoid(656 / 1024) = 0.654900 -> 10729.9 + 0.5 -> 10730; without the peephole it would be 8192.
        wp = np.zeros((96, 4))
        wp[0, 0] = 1.0
        form = q.FixedForm(net("lstm_fb75", wp=wp, bias=gate_bias(i=10, c=1), peepholes=np.ones((3, 4))))
        form.start(1)
        form.layer(BLOCK, q.Counts(), LIVE)
        self.assertEqual(form.c[0, 0], 389)  # the input gate has not moved
        # m = 10501 * 10730 / 8192 = 13754.4 -> 13754; r = 13754 / 8 + 0.5 = 1719.75 -> 1719.
        self.assertEqual(form.r[0, 0], 1719)

    def test_cell_is_held_at_64(self):
        form, counts = q.FixedForm(net("lstm_fb75", bias=gate_bias(i=10, f=12, c=8))), q.Counts()
        form.start(1)
        for _ in range(80):  # a little less than 1 a step
            form.layer(BLOCK, counts, LIVE)
        self.assertEqual(form.c[0, 0], 32767)
        self.assertGreater(counts.clipped["cell"], 0)
        self.assertEqual(counts.wraps(), 0)

    def test_a_gate_beyond_32_wraps_and_is_counted(self):
        form, counts = q.FixedForm(net("lstm_fb75", wx=np.full((16, 4), 2.5))), q.Counts()
        form.start(1)
        form.layer(np.full((1, 4), 4.0, np.float32), counts, LIVE)  # 4 * 4 * 2.5 = 40
        self.assertEqual(counts.wrapped["input product"], 16)
        form.layer(np.full((1, 4), 4.0, np.float32), counts, np.zeros((1, 1), bool))  # a session that is over counts nothing
        self.assertEqual(counts.wrapped["input product"], 16)

    def test_a_recurrent_sum_beyond_16_wraps_and_is_counted(self):
        # 96 products of 1.0 and 0.25 are 24.0, and 24 - 32 = -8 with the fraction bits of the sum. tanh(-8) * 512 + 0.5 = -511.5 -> -511;
        # c = 16383 * -511 >> 14 = -511. Without the wrap it would be tanh(24) -> 512 and 511.
        wr = np.zeros((16, 96))
        wr[12:] = 0.25
        form, counts = q.FixedForm(net("lstm_fb75", wr=wr, bias=gate_bias(i=10))), q.Counts()
        form.start(1)
        form.r[:] = 4096
        form.layer(BLOCK, counts, LIVE)
        self.assertEqual(counts.wrapped["recurrent product"], 4)
        self.assertEqual(list(form.c[0]), [-511] * 4)

    def test_an_input_of_16_wraps_and_is_counted(self):
        form, counts = q.FixedForm(net("lstm_fb75")), q.Counts()
        form.start(1)
        form.layer(np.array([[16.0, 15.99, -16.0, 0.0]], np.float32), counts, LIVE)
        self.assertEqual(counts.wrapped["input"], 1)

    def test_clamped_product_holds_minus_32767(self):
        form, counts = q.FixedForm(net("lstm_fb75")), q.Counts()
        self.assertEqual(form.gemv_clamped("here", np.array([[-20000]]), np.array([[2]]), 0, counts, LIVE)[0, 0], -32767)
        self.assertEqual(counts.clipped["here"], 1)

    def test_negative_results_round_towards_zero_after_the_half(self):
        form = q.FixedForm(net("lstm_fb75"))
        # -5 / 4 + 0.5 = -0.75 -> 0; 6 / 4 + 0.5 = 2.0 -> 2.
        got = form.gemv_clamped("here", np.array([[-5], [6]]), np.array([[1]]), 2, q.Counts(), LIVE)
        self.assertEqual(list(got[:, 0]), [0, 2])


class Int8Step(unittest.TestCase):
    def test_one_step_by_hand(self):
        # c = sigmoid(10) * tanh(1) = 0.7615596; t = 0.6419894; m = t * sigmoid(10) = 0.6419602 -> 82.17 -> 82.
        # wp 0.5 is 32 of 128 at range 2, so r = 82 / 128 * 0.5.
        wp = np.zeros((96, 4))
        wp[0, 0] = 0.5
        form = q.Int8Form(net("lstm_fb40", wp=wp, bias=gate_bias(i=10, o=10, c=1)))
        form.start(1)
        form.layer(BLOCK, q.Counts(), LIVE)
        self.assertAlmostEqual(float(form.c[0, 0]), 0.7615596, places=6)
        self.assertAlmostEqual(float(form.r[0, 0]), 82 / 256, places=6)

    def test_input_is_scaled_by_32768_and_divided_by_32767_squared(self):
        form = q.Int8Form(net("lstm_fb40", wx=np.ones((16, 4))))
        form.start(1)
        form.layer(np.full((1, 4), 1.0, np.float32), q.Counts(), LIVE)
        # 4 * 4096 * 16384 * (8 * 2) / 32767^2 = 4.000244; c = sigmoid(x) * tanh(x).
        x = 4 * 4096 * 16384 * 16 / 32767.0**2
        self.assertAlmostEqual(float(form.c[0, 0]), np.tanh(x) / (1 + np.exp(-x)), places=6)

    def test_recurrent_vector_beyond_its_range_is_held_and_counted(self):
        form, counts = q.Int8Form(net("lstm_fb40")), q.Counts()
        form.start(1)
        form.r[0, :3] = [3.0, -3.0, 1.0]
        form.layer(BLOCK, counts, LIVE)
        self.assertEqual(counts.clipped["recurrent vector"], 2)

    def test_priming_fills_a_quarter_of_the_last_slot(self):
        form = q.Int8Form(net("lstm_fb40", wp=np.full((96, 4), 0.25), bias=gate_bias(i=10, o=10, c=1)))
        form.start(1)
        form.prime(2, q.Counts())
        self.assertTrue((form.ring[0, -1, :24] == form.r[0, :24]).all() and (form.r[0] > 0).all())
        self.assertFalse(form.ring[0, -1, 24:].any() or form.ring[0, :-1].any())

    def test_the_fixed_kind_is_not_primed(self):
        with self.assertRaises(ValueError):
            q.FixedForm(net("lstm_fb75")).prime(1, q.Counts())


class Sessions(unittest.TestCase):
    def test_all_zero_networks_share_evenly_and_owe_two_blocks(self):
        for kind in ("lstm_fb40", "lstm_fb75"):
            results = q.run_sessions(net(kind), [np.zeros((n, 4), np.float32) for n in (0, 1, 2, 3, 7)])
            self.assertEqual([len(r) for r in results], [0, 0, 0, 4, 20])
            np.testing.assert_array_equal(results[4], np.full((20, 2), 0.5, np.float32))

    def test_sessions_side_by_side_do_not_see_each_other(self):
        rng = np.random.default_rng(2)
        shapes = dict(wx=(16, 4), wr=(16, 96), wp=(96, 4), bias=(16,), peepholes=(3, 4), fc=(4, 480), out=(8, 4))
        weights = {name: rng.normal(0, 0.2, shape) for name, shape in shapes.items()}
        sessions = [rng.normal(0, 1, (n, 4)).astype(np.float32) for n in (9, 30, 4)]
        for kind in ("lstm_fb40", "lstm_fb75"):
            together, counts = q.run_sessions(net(kind, **weights), sessions), q.Counts()
            alone = q.run_sessions(net(kind, **weights), sessions, counts, side_by_side=1)
            self.assertEqual(counts.steps, 43)
            for a, b in zip(together, alone):
                np.testing.assert_array_equal(a, b)

    def test_a_block_is_judged_from_two_blocks_before_to_two_after(self):
        # Speech's first output counts the positive ring: an impulse in block 5 shows in the pairs of the blocks 3 to 7 and nowhere else.
        wp = np.zeros((96, 4))
        wp[0, 0] = 1.0
        wx = np.zeros((16, 4))
        wx[12:] = 1.0  # cell input
        fc, out = np.zeros((4, 480)), np.zeros((8, 4))
        fc[0, 0::96] = 0.9
        out[0, 0] = 3.0
        n = net("lstm_fb75", wx=wx, wp=wp, bias=gate_bias(i=8, f=-8, o=8), fc=fc, out=out)
        x = np.zeros((12, 4), np.float32)
        x[5] = 1.0
        moved = q.run_sessions(n, [x])[0][::4, 0] > 0.6
        self.assertEqual(list(np.flatnonzero(moved)), [3, 4, 5, 6, 7])


if __name__ == "__main__":
    unittest.main()
