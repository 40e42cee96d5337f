// Hands a notification to the native side: plexa script run push.js
const project = new MobileAppLayer.PushNotificationProject();
console.log("received:", project.pushNotificationReceived('{"subject": "it works"}'));
