# SPDX-License-Identifier: Apache-2.0
import unittest

try:
    import torch

    from recurrent_layer import NoRounding, RecurrentLayer, RoundingFixed, RoundingInt8
    from recurrent_net import GATE_LIMIT, RECURRENT_LIMIT, RecurrentNet, loudest_blocks
except ImportError:
    torch = None
import numpy as np

import quantised_lstm as q


@unittest.skipIf(torch is None, "needs torch")
class Layer(unittest.TestCase):
    def parts(self, dtype=None):
        torch.manual_seed(0)
        return [torch.randn(*shape, dtype=dtype or torch.float64).requires_grad_() for shape in ((5, 3, 16), (16, 2), (2, 4), (3, 4))]

    def test_written_out_gradients_are_those_of_the_forward_pass(self):
        self.assertTrue(torch.autograd.gradcheck(lambda *x: RecurrentLayer.apply(*x, NoRounding()), self.parts()))

    def test_no_gradient_where_the_projected_vector_is_clipped(self):
        gx, wr, wp, p = self.parts(torch.float32)
        rounding = RoundingInt8(1e-3)
        RecurrentLayer.apply(gx, wr, wp, p, rounding).sum().backward()
        self.assertEqual(float(wp.grad.abs().sum()), 0.0)

    def test_rounding_of_the_cell_goes_down(self):
        c = torch.tensor([0.9 / 512, -0.1 / 512, 70.0])
        RoundingFixed().cell(c)
        np.testing.assert_array_equal(c.numpy(), np.float32([0.0, -1 / 512, 32767 / 512]))

    def test_forward_pass_follows_the_integers(self):
        for kind, width in (("lstm_fb40", 40), ("lstm_fb75", 75)):
            torch.manual_seed(4)
            inputs = 4 * width
            model = RecurrentNet(kind, inputs, 32, 32, np.zeros(width, np.float32), np.ones(width, np.float32))
            model.hold_in_range()
            w = {name: value.detach().numpy() for name, value in model.named_parameters()}
            r = q.INT8_RANGES
            scales = np.float32([r["recurrent weights"], 2.0, r["projection weights"], r["fc weights"], 4.0, 8.0, 2.0, 1.0, 2.0])
            net = q.Lstm(kind=kind, mean=np.zeros(width), inv_std=np.ones(width), prior=np.tile([0.5, 0.5], 4),
                         scales=scales if kind == "lstm_fb40" else None, **w)
            self.assertEqual(q.form_of(net).saturating(), [])
            x = np.random.default_rng(5).normal(0, 1, (40, inputs)).astype(np.float32)
            with torch.no_grad():
                y = torch.softmax(model(torch.from_numpy(x[:, None])), dim=3).numpy()[:-2, 0].reshape(-1, 2)
            got = q.run_sessions(net, [x], priming=0)[0]
            self.assertLess(np.abs(got - y).max(), 0.02)
            self.assertGreater(y[:, 0].std(), 0.02)

    def net(self, kind):
        width = 40 if kind == "lstm_fb40" else 75
        return RecurrentNet(kind, 4 * width, 32, 32, np.zeros(width, np.float32), np.ones(width, np.float32))

    def test_pieces_with_a_carried_state_answer_as_the_whole_does_two_blocks_late(self):
        for kind in ("lstm_fb40", "lstm_fb75"):
            model = self.net(kind)
            torch.manual_seed(6)
            x = torch.randn(12, 2, model.wx.shape[1])
            with torch.no_grad():
                whole = model(x)
                carry = model.start(2)
                pieces = torch.cat([model(x[k:k + 4], carry) for k in (0, 4, 8)])
            np.testing.assert_allclose(pieces[2:].numpy(), whole[:10].numpy(), atol=1e-5)

    def test_a_stream_that_begins_anew_forgets_and_its_neighbour_does_not(self):
        model = self.net("lstm_fb75")
        x = torch.randn(4, 2, 300)
        with torch.no_grad():
            carry, cleared = model.start(2), model.start(2)
            model(x, carry)
            carry.clear(torch.tensor([True, False]))
            after, fresh = model(x, carry), model(x, cleared)
        np.testing.assert_allclose(after[:, 0].numpy(), fresh[:, 0].numpy(), atol=1e-6)
        self.assertGreater(float((after[:, 1] - fresh[:, 1]).abs().max()), 1e-3)

    def test_a_larger_network_that_takes_over_answers_like_the_smaller_one(self):
        for kind in ("lstm_fb40", "lstm_fb75"):
            small = self.net(kind)
            inputs = small.wx.shape[1]
            large = RecurrentNet(kind, inputs, 48, 40, np.zeros(inputs // 4, np.float32), np.ones(inputs // 4, np.float32))
            large.take_over({name: value.detach().numpy() for name, value in small.named_parameters()})
            x = torch.randn(6, 2, inputs)
            with torch.no_grad():
                np.testing.assert_allclose(large(x).numpy(), small(x).numpy(), atol=1e-5)

    def test_weights_are_held_where_no_8_bit_sum_can_clip(self):
        model = self.net("lstm_fb40")
        with torch.no_grad():
            for weight in (model.wr, model.wp, model.fc):
                weight.mul_(20.0)
        model.hold_in_range()
        for weight, name in ((model.wr, "recurrent weights"), (model.wp, "projection weights"), (model.fc, "fc weights")):
            self.assertFalse(q.can_saturate(q.quantise_weights(weight.detach().numpy(), 128.0, q.INT8_RANGES[name])))

    def test_fixed_weights_are_held_inside_their_formats(self):
        model = self.net("lstm_fb75")
        with torch.no_grad():
            for weight in model.parameters():
                weight.mul_(100.0).add_(50.0)
        model.hold_in_range()
        w = {name: value.detach().numpy() for name, value in model.named_parameters()}
        net = q.Lstm(kind="lstm_fb75", mean=np.zeros(75), inv_std=np.ones(75), prior=np.tile([0.5, 0.5], 4), **w)
        self.assertEqual(sum(q.form_of(net).clipped_weights().values()), 0)

    def test_loud_blocks_bring_no_gate_beyond_the_limit(self):
        model = self.net("lstm_fb75")
        with torch.no_grad():
            model.wx.fill_(1.0)
            model.wx[1:] = 0.01
        model.hold_in_range(torch.full((2, 300), 2.0))  # 600 and 6
        reach = 2.0 * model.wx.detach().sum(dim=1).numpy()
        self.assertAlmostEqual(float(reach[0]), GATE_LIMIT, places=3)
        self.assertAlmostEqual(float(reach[1]), 6.0, places=3)

    def test_recurrent_sums_are_held_where_32_bits_do_not_wrap(self):
        model = self.net("lstm_fb75")
        with torch.no_grad():
            model.wr.fill_(0.5)
            model.wr[1:] = 0.05
        model.recent = torch.tensor([[1.0] * 96, [-0.5] * 96])  # 48 and 4.8
        model.hold_in_range(torch.zeros(2, 300))
        reach = model.wr.detach().sum(dim=1).numpy()
        self.assertAlmostEqual(float(reach[0]), RECURRENT_LIMIT, places=3)
        self.assertAlmostEqual(float(reach[1]), 4.8, places=3)


@unittest.skipIf(torch is None, "needs torch")
class Data(unittest.TestCase):
    def test_the_loudest_blocks_are_those_furthest_from_the_mean(self):
        blocks = np.zeros((5, 8), np.float16)  # two values a frame
        blocks[1], blocks[3], blocks[4] = 3.0, -6.0, 4.0
        got = loudest_blocks(blocks, np.float32([1.0, 1.0]), np.float32([0.5, 0.5]), 2)
        np.testing.assert_array_equal(got, np.float32([[-3.5] * 8, [1.5] * 8]))


if __name__ == "__main__":
    unittest.main()
