"""The Python module against formulas of its own: chains by plain matrices, energies, finite differences."""
import unittest

import numpy as np
import tarnforce as tf

STANDARD = [1, 3, 101, 202, 301, 401, 901, 1001]
OFFSET = [701, 703]
ALPHA = {"standard": np.radians([90, 0, 0, 90, -90, 0]), "offset": np.radians([90, 0, 90, -90, -90, 0])}
TURN = {"standard": np.zeros(6), "offset": np.array([0, 0, -90, -90, 90, 0])}
ZERO = {3: np.array([180, 180, 0, 180, 0, 180])}  # degrees; its joints count from elsewhere


def frames(robot_type, q, parameters):
    """Poses of the six links in the base frame, mm."""
    shape, lengths = parameters["shape"], parameters["lengths_mm"]
    pose, poses = np.eye(4), []
    angles = np.radians(q - ZERO.get(robot_type, 0) + TURN[shape])
    along_x = [1, 2] if shape == "standard" else [1]
    for i in range(6):
        length = -abs(lengths[i]) if i in along_x else lengths[i]
        if shape == "offset" and i == 2:
            length = abs(length)
        a, d = (length, 0) if i in along_x else (0, length)
        ct, st, ca, sa = np.cos(angles[i]), np.sin(angles[i]), np.cos(ALPHA[shape][i]), np.sin(ALPHA[shape][i])
        pose = pose @ np.array(
            [[ct, -st * ca, st * sa, a * ct], [st, ct * ca, -ct * sa, a * st], [0, sa, ca, d], [0, 0, 0, 1]])
        poses.append(pose)
    return poses


def potential(robot_type, q, load):
    """J, of an upright arm."""
    parameters = tf.parameters(robot_type)
    poses = frames(robot_type, q, parameters)
    masses = list(parameters["masses_kg"]) + [load.mass]
    centers = [pose @ np.append(center, 1) for pose, center in zip(poses, parameters["centers_mm"])]
    centers.append(poses[5] @ np.append(load.center, 1))
    return sum(mass * 9.8 * center[2] / 1000 for mass, center in zip(masses, centers))


def slope(function, q, step=1e-3):
    """Of each output by each joint, per radian."""
    columns = []
    for joint in range(6):
        aside = np.zeros(6)
        aside[joint] = step
        columns.append((function(q + aside) - function(q - aside)) / (2 * np.radians(step)))
    return np.array(columns)


class Models(unittest.TestCase):
    def setUp(self):
        self.draw = np.random.default_rng(5)
        self.load = tf.Load(2.5, (20, -10, 60), (900, 0, 0, 800, 0, 700))

    def joints(self, *shape, scale=170):
        return self.draw.uniform(-scale, scale, (*shape, 6))

    def test_still_torque_is_the_slope_of_the_potential(self):
        for robot_type in STANDARD + OFFSET:
            for q in self.joints(5):
                want = slope(lambda at: potential(robot_type, at, self.load), q)
                np.testing.assert_allclose(tf.torque(robot_type, q, load=self.load), want, atol=1e-5)

    def test_power_is_the_change_of_energy(self):
        step = 1e-6  # s
        for robot_type in STANDARD:
            q, qd, qdd = self.joints(), self.joints(scale=100), self.joints(scale=200)

            def energy(t):
                at, speed = q + qd * t + qdd * t * t / 2, np.radians(qd + qdd * t)
                mass, _, _ = tf.mass_coriolis_gravity(robot_type, at, load=self.load)
                return speed @ mass @ speed / 2 + potential(robot_type, at, self.load)

            power = tf.torque(robot_type, q, qd, qdd, self.load) @ np.radians(qd)
            self.assertAlmostEqual((energy(step) - energy(-step)) / (2 * step) / power, 1, places=4)
            mass, _, _ = tf.mass_coriolis_gravity(robot_type, q)
            self.assertGreater(np.linalg.eigvalsh(mass).min(), 0)

    def test_rows_are_computed_one_by_one(self):
        q, qd = self.joints(2, 3), self.joints(2, 3)
        whole = tf.torque(701, q, qd)
        self.assertEqual(whole.shape, (2, 3, 6))
        np.testing.assert_array_equal(whole[1, 2], tf.torque(701, q[1, 2], qd[1, 2]))
        self.assertEqual(tf.mass_coriolis_gravity(101, q)[0].shape, (2, 3, 6, 6))
        self.assertEqual(tf.flange(101, q).shape, (2, 3, 4, 4))
        self.assertEqual(tf.natural_frequency(101, q).shape, (2, 3))

    def test_gravity_of_the_cycle_on_each_mount(self):
        mounts = {0: (0, 0, -9.8), 1: (9.8, 0, 0), 2: (0, 0, 9.8)}
        for mount, gravity in mounts.items():
            for q in self.joints(5):
                whole = tf.torque(101, q, load=self.load, gravity=gravity)
                off = np.abs(tf.gravity_torque(101, q, self.load, mount) - whole).max()
                self.assertLess(off, 0.02 * np.abs(whole).max())

    def test_kinematics(self):
        for robot_type in STANDARD + OFFSET:
            q = self.joints(scale=120)
            pose = tf.flange(robot_type, q)
            np.testing.assert_allclose(pose, frames(robot_type, q, tf.parameters(robot_type))[5], atol=1e-9)
            jacobian = tf.jacobian(robot_type, q)
            np.testing.assert_allclose(
                slope(lambda at: tf.flange(robot_type, at)[:3, 3] / 1000, q).T, jacobian[:3], atol=1e-6)
            spin = slope(lambda at: tf.flange(robot_type, at)[:3, :3], q) @ pose[:3, :3].T
            np.testing.assert_allclose(np.array([spin[:, 2, 1], spin[:, 0, 2], spin[:, 1, 0]]), jacobian[3:],
                                       atol=1e-6)
            found = tf.inverse(robot_type, pose, q + self.draw.uniform(-3, 3, 6))
            np.testing.assert_allclose(tf.flange(robot_type, found), pose, atol=1e-6)
        far = np.eye(4)
        far[0, 3] = 1e5
        self.assertIsNone(tf.inverse(101, far, np.zeros(6)))

    def test_friction(self):
        speeds = np.linspace(-120, 120, 61)
        curve = tf.friction_curve(25, speeds)
        self.assertTrue((np.sign(curve) == np.sign(speeds)).all())
        np.testing.assert_allclose(tf.friction_torque(101, np.tile(speeds[:, None], 6))[:, 0], curve)
        guided = tf.friction_torque(101, np.full(6, 30.0), guiding=True)
        self.assertTrue((guided < tf.friction_torque(101, np.full(6, 30.0))).all())

        v = np.linspace(0.05, 2, 60)
        fc, fs, qs, yita, sita = 1.2, 1.9, 0.2, 30.0, 0.6
        torque = (fc + (fs - fc) * np.exp(-((v / qs) ** 2))) * np.tanh(yita * v / 2) + sita * v
        found, residual = tf.fit_friction(v, torque, [1.0, 2.0, 0.3, 20.0, 0.5])
        np.testing.assert_allclose(found, [fc, fs, qs, yita, sita], rtol=1e-2)
        self.assertLess(residual, 1e-4)

    def test_wrist_parameters_come_back_out_of_a_motion(self):
        seconds, points = np.arange(0, 12, 0.001), tf.excitation(1501)
        window = np.hanning(41) / np.hanning(41).sum()  # smooth between the points
        q = np.array([np.interp(seconds, np.arange(1501) * 0.008, column) for column in points.T])
        q = np.array([np.convolve(np.pad(row, 20, "edge"), window, "valid") for row in q]).T
        qd = np.gradient(q, 0.001, axis=0)
        regressor = tf.wrist_regressor(q, qd, np.gradient(qd, 0.001, axis=0))
        torque = np.zeros_like(q)
        torque[:, 3:] = regressor @ self.draw.uniform(-1, 1, 27)
        late = np.vstack([np.zeros((64, 6)), torque[:-64]])  # as late as the low-pass of the positions

        found = tf.identify_wrist(late, q)
        left = np.linalg.norm(regressor @ found - torque[:, 3:]) / np.linalg.norm(torque)
        self.assertLess(left, 0.08)
        np.testing.assert_allclose(tf.identify_wrist(2 * late, q), 2 * found, rtol=1e-6)

    def test_refusals(self):
        for call in (lambda: tf.torque(704, np.zeros(6)), lambda: tf.torque(101, np.zeros(5)),
                     lambda: tf.torque(101, np.zeros(6), np.zeros((2, 6))), lambda: tf.friction_curve(20, [1.0]),
                     lambda: tf.mass_coriolis_gravity(701, np.zeros(6)), lambda: tf.parameters(704),
                     lambda: tf.fit_friction(np.zeros(67), np.zeros(67), [1] * 5)):
            with self.assertRaises(ValueError):
                call()
        self.assertIn(902, tf.robot_types())
        self.assertNotIn(704, tf.robot_types())


if __name__ == "__main__":
    unittest.main()
