# SPDX-License-Identifier: Apache-2.0
import unittest

try:
    import torch

    from soft_targets import SQUARED_SHARE, TEMPERATURE, soft_loss
except ImportError:
    torch = None


@unittest.skipIf(torch is None, "needs torch")
class Loss(unittest.TestCase):
    def test_it_is_least_where_the_score_is_the_log_odds_over_the_temperature(self):
        score = torch.tensor([4.0 / TEMPERATURE, -6.0 / TEMPERATURE], requires_grad=True)
        soft_loss(score, torch.tensor([4.0, -6.0]), torch.ones(2)).backward()
        self.assertLess(float(score.grad.abs().max()), 1e-6)

    def test_a_coin_toss_costs_ln_2_and_the_square_of_the_rest(self):
        # Goal 0, score 1: 0.5 * ln(1 + e) + 0.5 * ln(1 + 1 / e) = 0.8133, and the square of 1.
        loss = soft_loss(torch.tensor([1.0]), torch.tensor([0.0]), torch.ones(1))
        self.assertAlmostEqual(float(loss), 0.81326 + SQUARED_SHARE, places=4)

    def test_what_weighs_nothing_does_not_count(self):
        kept = soft_loss(torch.tensor([1.0]), torch.tensor([2.0]), torch.ones(1))
        both = soft_loss(torch.tensor([1.0, 9.0]), torch.tensor([2.0, -8.0]), torch.tensor([1.0, 0.0]))
        self.assertAlmostEqual(float(kept), float(both), places=6)


if __name__ == "__main__":
    unittest.main()
